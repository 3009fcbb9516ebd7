// The one host every benchmark of a run shares (the plugin table is global).
#ifndef KORRIN_BENCH_SUPPORT_BENCH_HOST_H
#define KORRIN_BENCH_SUPPORT_BENCH_HOST_H

#include "support/lean_host.h"

namespace korrin_bench {

using korrin_lean::FixedAccessory;
using korrin_lean::LeanHost;

/// The installed lean host; installed on first use and kept for the process.
LeanHost& bench_host();

}  // namespace korrin_bench

#endif  // KORRIN_BENCH_SUPPORT_BENCH_HOST_H
