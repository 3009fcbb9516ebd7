// Reading the files tests take their input from: example documents, the
// expected outcomes beside them, and the library's own headers.
#ifndef KORRIN_TESTS_SUPPORT_EXAMPLE_FILES_H
#define KORRIN_TESTS_SUPPORT_EXAMPLE_FILES_H

#include <string>

namespace korrin_test {

/// The whole content of the file at `path`; empty when it cannot be read.
std::string read_file(const std::string& path);

/// The whole content of examples/documents/`name`; empty when it cannot be
/// read.
std::string read_example_document(const std::string& name);

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_EXAMPLE_FILES_H
