// Pushing a settings map to the device: one walk of the map per call, one
// host call per sent setting, under CONFIGURE and RESET. The map is the one
// a generated document of each size leaves behind.
#include <benchmark/benchmark.h>

#include <string>

#include "support/bench_host.h"
#include "support/document_generator.h"

namespace korrin_bench {
namespace {

using korrin::config::ApplyType;
using korrin::config::HeadsetConfigImpl;

void apply_config(benchmark::State& state, ApplyType type) {
  const int settings = static_cast<int>(state.range(0));
  LeanHost& host = bench_host();
  FixedAccessory accessory(connected_model());
  HeadsetConfigImpl config("acc-1", &accessory);
  if (!config.update_from_server(make_document(settings))) {
    state.SkipWithError("update_from_server refused the generated document");
    return;
  }
  const std::size_t entries = config.retrieve_config().size();
  const std::size_t applied_before = host.device.applied;
  const std::size_t follow_before = host.device.follow_calls;
  for (auto _ : state) {
    config.apply_config_to_device(type);
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["map_entries"] = static_cast<double>(entries);
  state.counters["applied"] =
      static_cast<double>(host.device.applied - applied_before) / iterations;
  state.counters["follow"] =
      static_cast<double>(host.device.follow_calls - follow_before) / iterations;
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(entries));
}

void map_sizes(benchmark::internal::Benchmark* benchmark) {
  for (int settings : {10, 100, 1000, 10000, 100000}) {
    benchmark->Arg(settings);
  }
  benchmark->ArgName("document")->Unit(benchmark::kMicrosecond);
}

void BM_ApplyConfigure(benchmark::State& state) { apply_config(state, korrin::config::CONFIGURE); }
BENCHMARK(BM_ApplyConfigure)->Apply(map_sizes);

void BM_ApplyReset(benchmark::State& state) { apply_config(state, korrin::config::RESET); }
BENCHMARK(BM_ApplyReset)->Apply(map_sizes);

}  // namespace
}  // namespace korrin_bench
