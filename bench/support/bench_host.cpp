#include "support/bench_host.h"

namespace korrin_bench {

NullHost& bench_host() {
  // Never destroyed: library objects of a benchmark may outlive static
  // destruction order guarantees, and the process ends right after.
  static NullHost* host = [] {
    auto* installed = new NullHost;
    installed->install();
    return installed;
  }();
  return *host;
}

}  // namespace korrin_bench
