// The unit tests' names for the lock checks of korrin::testing.
#ifndef KORRIN_TESTS_SUPPORT_LOCK_CHECKS_H
#define KORRIN_TESTS_SUPPORT_LOCK_CHECKS_H

#include "korrin/testing/lock_checks.h"

namespace korrin_test {

using korrin::testing::lines_under_lock;
using korrin::testing::locks_left_held;
using korrin::testing::max_lock_depth;

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_LOCK_CHECKS_H
