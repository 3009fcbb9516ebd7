// The soak program's and the benchmarks' name for the lean host of
// korrin::testing.
#ifndef KORRIN_TESTS_SUPPORT_LEAN_HOST_H
#define KORRIN_TESTS_SUPPORT_LEAN_HOST_H

#include "korrin/korrin.h"
#include "korrin/testing/lean_host.h"

namespace korrin_lean = korrin::testing::lean;

#endif  // KORRIN_TESTS_SUPPORT_LEAN_HOST_H
