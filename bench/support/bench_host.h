// The one host every benchmark of a run shares (the plugin table is global).
#ifndef KORRIN_BENCH_SUPPORT_BENCH_HOST_H
#define KORRIN_BENCH_SUPPORT_BENCH_HOST_H

#include "support/null_host.h"

namespace korrin_bench {

/// The installed null host; installed on first use and kept for the process.
NullHost& bench_host();

}  // namespace korrin_bench

#endif  // KORRIN_BENCH_SUPPORT_BENCH_HOST_H
