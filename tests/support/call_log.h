// The unit tests' names for the call log of korrin::testing.
#ifndef KORRIN_TESTS_SUPPORT_CALL_LOG_H
#define KORRIN_TESTS_SUPPORT_CALL_LOG_H

#include "korrin/testing/call_log.h"

namespace korrin_test {

using korrin::testing::CallLog;
using korrin::testing::InjectedFault;
using korrin::testing::join_args;

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_CALL_LOG_H
