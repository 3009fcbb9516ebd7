#include "support/example_files.h"

#include <fstream>
#include <iterator>

namespace korrin_test {

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string read_example_document(const std::string& name) {
  return read_file(std::string(KORRIN_EXAMPLES_DIR) + "/documents/" + name);
}

}  // namespace korrin_test
