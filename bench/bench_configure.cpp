// One configuration fetch answered for N accessories waiting for it: the
// queued configure task runs, the host's network answers at once with the
// document (100 settings), and every pending accessory takes it.
//
// What is timed: running the queued task, from the dispatcher's check to the
// clean-up. Registering the accessories (a new manager and N accessories
// that have not taken a document, so each stores every entry) is done with
// the timer paused before every run, as is deleting the manager after it.
#include <benchmark/benchmark.h>

#include <string>

#include "support/bench_host.h"
#include "support/document_generator.h"

namespace korrin_bench {
namespace {

constexpr int kDocumentSettings = 100;

void register_pending(int accessories) {
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  FixedAccessory accessory(connected_model());
  for (int i = 0; i < accessories; ++i) {
    // The first queues the request; the others join it as pending.
    manager->initialize_accessory("acc-" + std::to_string(i), &accessory);
  }
}

void BM_FetchAnswered(benchmark::State& state) {
  const int accessories = static_cast<int>(state.range(0));
  LeanHost& host = bench_host();
  host.network.document = make_document(kDocumentSettings);
  const std::size_t fetches_before = host.network.fetches;
  const std::size_t applied_before = host.device.applied;
  const std::size_t failures_before = host.device.failures;
  for (auto _ : state) {
    state.PauseTiming();
    register_pending(accessories);
    state.ResumeTiming();
    if (host.dispatcher.run_all() != 1) {
      state.SkipWithError("the configure task did not run");
      break;
    }
    state.PauseTiming();
    korrin::config::delete_config_manager();
    state.ResumeTiming();
  }
  const double runs = static_cast<double>(state.iterations());
  if (host.network.fetches - fetches_before != static_cast<std::size_t>(state.iterations()) ||
      host.device.failures != failures_before) {
    state.SkipWithError("each run must fetch once and configure every accessory");
  }
  state.counters["accessories"] = accessories;
  state.counters["applied"] = static_cast<double>(host.device.applied - applied_before) / runs;
  state.SetItemsProcessed(state.iterations() * accessories);
  host.network.document.clear();
}
BENCHMARK(BM_FetchAnswered)
    ->ArgName("pending")
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace korrin_bench
