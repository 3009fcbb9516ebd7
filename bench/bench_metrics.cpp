// Building the inventory document and its post URL for a maker's headset
// with a dock (the fullest document).
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "support/bench_host.h"
#include "support/document_generator.h"

namespace korrin_bench {
namespace {

struct MetricDeleter {
  void operator()(korrin::metrics::MetricsInterface* metric) const { delete_metric(metric); }
};

std::unique_ptr<korrin::metrics::MetricsInterface, MetricDeleter> headset_metric() {
  bench_host();
  FixedAccessory accessory(connected_model());
  return std::unique_ptr<korrin::metrics::MetricsInterface, MetricDeleter>(
      create_metric(&accessory));
}

void BM_AssembleMetrics(benchmark::State& state) {
  auto metric = headset_metric();
  auto* inventory = dynamic_cast<korrin::metrics::InventoryMetric*>(metric.get());
  std::size_t length = 0;
  for (auto _ : state) {
    const std::string document = inventory->assemble_metrics();
    length = document.size();
    benchmark::DoNotOptimize(document.data());
  }
  if (length == 0) {
    state.SkipWithError("assemble_metrics built no document");
  }
  state.counters["bytes"] = static_cast<double>(length);
}
BENCHMARK(BM_AssembleMetrics);

void BM_GetPostUrl(benchmark::State& state) {
  auto metric = headset_metric();
  auto* inventory = dynamic_cast<korrin::metrics::InventoryMetric*>(metric.get());
  std::string url;
  for (auto _ : state) {
    url = inventory->get_post_url();
    benchmark::DoNotOptimize(url.data());
  }
  if (url != "https://[fd00::1]/inventory") {
    state.SkipWithError("get_post_url did not fill in the first server");
  }
}
BENCHMARK(BM_GetPostUrl);

}  // namespace
}  // namespace korrin_bench
