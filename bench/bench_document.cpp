// Taking in a configuration document, beside the cost of merely parsing and
// freeing the same text with cJSON: the floor no implementation can beat.
//
// What is timed: update_from_server on a configuration object that has
// never taken a document (the first document after an accessory is plugged
// in: every entry is stored, the device is configured once, the firmware
// step runs). Making and destroying the objects is not timed: they are made
// in batches while the timer is paused, so the pause costs little even for
// the smallest document. BM_UpdateFromServerRepeated times the steady state
// instead: the same document again on the same object (same model, so the
// entries stay and are overwritten; the second halves of "Both" pairs
// update in place).
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>

#include <memory>
#include <string>
#include <vector>

#include "support/bench_host.h"
#include "support/document_generator.h"

namespace korrin_bench {
namespace {

using korrin::config::HeadsetConfigImpl;

void document_sizes(benchmark::internal::Benchmark* benchmark) {
  for (int settings : {10, 100, 1000, 10000, 100000}) {
    benchmark->Arg(settings);
  }
  benchmark->Unit(benchmark::kMicrosecond);
}

void set_document_counters(benchmark::State& state, const DocumentShape& shape) {
  state.counters["settings"] = shape.settings;
  state.counters["bytes"] = static_cast<double>(shape.bytes);
  state.SetItemsProcessed(state.iterations() * shape.settings);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(shape.bytes));
}

void BM_ParseFloor(benchmark::State& state) {
  DocumentShape shape;
  const std::string document = make_document(static_cast<int>(state.range(0)), &shape);
  for (auto _ : state) {
    cJSON* tree = cJSON_Parse(document.c_str());
    if (tree == nullptr) {
      state.SkipWithError("the generated document does not parse");
      break;
    }
    benchmark::DoNotOptimize(tree);
    cJSON_Delete(tree);
  }
  set_document_counters(state, shape);
}
BENCHMARK(BM_ParseFloor)->Apply(document_sizes);

// Objects that have not taken a document yet, made ahead in batches with the
// timer paused so that making them is not timed.
class FreshObjects {
 public:
  FreshObjects(benchmark::State& state, int settings)
      : state_(state),
        accessory_(connected_model()),
        batch_(settings >= 10000 ? 1 : static_cast<std::size_t>(10000 / settings)) {}
  ~FreshObjects() { release(); }

  HeadsetConfigImpl* next() {
    if (used_ == objects_.size()) {
      state_.PauseTiming();
      release();
      for (std::size_t i = 0; i < batch_; ++i) {
        objects_.push_back(std::make_unique<HeadsetConfigImpl>("acc-1", &accessory_));
      }
      state_.ResumeTiming();
    }
    return objects_[used_++].get();
  }

 private:
  void release() {
    objects_.clear();
    used_ = 0;
  }

  benchmark::State& state_;
  FixedAccessory accessory_;
  std::size_t batch_;
  std::size_t used_ = 0;
  std::vector<std::unique_ptr<HeadsetConfigImpl>> objects_;
};

void report_host_work(benchmark::State& state, std::size_t records, std::size_t applied) {
  const double iterations = static_cast<double>(state.iterations());
  state.counters["records"] = iterations > 0 ? static_cast<double>(records) / iterations : 0;
  state.counters["applied"] = iterations > 0 ? static_cast<double>(applied) / iterations : 0;
}

void BM_UpdateFromServer(benchmark::State& state) {
  const int settings = static_cast<int>(state.range(0));
  DocumentShape shape;
  const std::string document = make_document(settings, &shape);
  LeanHost& host = bench_host();
  const std::size_t records_before = host.log.records;
  const std::size_t applied_before = host.device.applied;
  {
    FreshObjects objects(state, settings);
    for (auto _ : state) {
      if (!objects.next()->update_from_server(document)) {
        state.SkipWithError("update_from_server refused the generated document");
        break;
      }
    }
  }  // the timer stops with the loop: destroying the last batch is not timed
  set_document_counters(state, shape);
  report_host_work(state, host.log.records - records_before, host.device.applied - applied_before);
}
BENCHMARK(BM_UpdateFromServer)->Apply(document_sizes);

void BM_UpdateFromServerRepeated(benchmark::State& state) {
  const int settings = static_cast<int>(state.range(0));
  DocumentShape shape;
  const std::string document = make_document(settings, &shape);
  LeanHost& host = bench_host();
  FixedAccessory accessory(connected_model());
  HeadsetConfigImpl config("acc-1", &accessory);
  if (!config.update_from_server(document)) {
    state.SkipWithError("update_from_server refused the generated document");
    return;
  }
  const std::size_t records_before = host.log.records;
  const std::size_t applied_before = host.device.applied;
  for (auto _ : state) {
    if (!config.update_from_server(document)) {
      state.SkipWithError("update_from_server refused the generated document");
      break;
    }
  }
  set_document_counters(state, shape);
  report_host_work(state, host.log.records - records_before, host.device.applied - applied_before);
}
BENCHMARK(BM_UpdateFromServerRepeated)->Apply(document_sizes);

}  // namespace
}  // namespace korrin_bench
