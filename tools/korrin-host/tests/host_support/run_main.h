// korrin-host's command line run inside the test process: what the program
// would exit with and print, without a child process.
#ifndef KORRIN_HOST_TESTS_RUN_MAIN_H
#define KORRIN_HOST_TESTS_RUN_MAIN_H

#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace korrin_host_test {

/// The exit status and the two output streams of one command line.
struct MainResult {
  int status = -1;
  std::string out;
  std::string err;
};

/// Runs `korrin-host ARGUMENTS` through korrin_host_main().
inline MainResult run_main(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"korrin-host"};
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  std::ostringstream out;
  std::ostringstream err;
  MainResult result;
  result.status =
      korrin_host::korrin_host_main(static_cast<int>(argv.size()), argv.data(), out, err);
  result.out = out.str();
  result.err = err.str();
  return result;
}

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_RUN_MAIN_H
