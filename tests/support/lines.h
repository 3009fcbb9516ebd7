// Expected call sequences put together from shared pieces.
#ifndef KORRIN_TESTS_SUPPORT_LINES_H
#define KORRIN_TESTS_SUPPORT_LINES_H

#include <initializer_list>
#include <string>
#include <vector>

namespace korrin_test {

/// The lines of every part, in order.
std::vector<std::string> concat(std::initializer_list<std::vector<std::string>> parts);

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_LINES_H
