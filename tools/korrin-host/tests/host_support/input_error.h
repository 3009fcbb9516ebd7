// The message of the InputError that reading some input throws: how the host
// tests check what a malformed or unreadable file is answered with.
#ifndef KORRIN_HOST_TESTS_INPUT_ERROR_H
#define KORRIN_HOST_TESTS_INPUT_ERROR_H

#include <string>

#include "korrin_host/json_input.h"

namespace korrin_host_test {

/// Runs `read`; the what() of the InputError it throws, or "no error".
/// Any other exception goes on to the test.
template <typename Read>
std::string input_error_of(Read&& read) {
  try {
    read();
  } catch (const korrin_host::InputError& error) {
    return error.what();
  }
  return "no error";
}

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_INPUT_ERROR_H
