// korrin-host: the reference host of libkorrin.
#include <iostream>

#include "cli.h"
#include "interrupt.h"

int main(int argc, char** argv) {
  korrin_host::install_interrupt_handlers();
  return korrin_host::korrin_host_main(argc, argv, std::cout, std::cerr);
}
