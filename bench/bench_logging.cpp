// One log record composed and delivered to a sink that drops it.
#include <benchmark/benchmark.h>

#include <string>

#include "support/bench_host.h"

namespace korrin_bench {
namespace {

void BM_LogRecordWithValues(benchmark::State& state) {
  LeanHost& host = bench_host();
  korrin::log::Logger* logger = create_logger(&host.log, "HeadsetConfigImpl", true);
  const std::string key = "sidetoneLevel";
  int usage_id = 104;
  double updated_time = 1718035200.5;
  const std::size_t records_before = host.log.records;
  for (auto _ : state) {
    benchmark::DoNotOptimize(usage_id);
    benchmark::DoNotOptimize(updated_time);
    logger->debug() << "apply_config_to_device: " << key << " : (usage id: " << usage_id
                    << " , updated: " << updated_time << ")";
  }
  if (host.log.records - records_before != static_cast<std::size_t>(state.iterations())) {
    state.SkipWithError("not every record reached the sink");
  }
  delete_logger(logger);
}
BENCHMARK(BM_LogRecordWithValues);

void BM_LogRecordText(benchmark::State& state) {
  LeanHost& host = bench_host();
  korrin::log::Logger* logger = create_logger(&host.log, "HeadsetConfigImpl", true);
  for (auto _ : state) {
    logger->notice() << "apply_config_to_device: Apply type: CONFIGURE";
  }
  delete_logger(logger);
}
BENCHMARK(BM_LogRecordText);

}  // namespace
}  // namespace korrin_bench
