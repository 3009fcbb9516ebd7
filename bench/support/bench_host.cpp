#include "support/bench_host.h"

namespace korrin_bench {

LeanHost& bench_host() {
  // Never destroyed: library objects of a benchmark may outlive static
  // destruction order guarantees, and the process ends right after.
  static LeanHost* host = [] {
    auto* installed = new LeanHost;
    installed->install();
    return installed;
  }();
  return *host;
}

}  // namespace korrin_bench
