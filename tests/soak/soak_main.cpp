// korrin-soak: many connect/configure/disconnect cycles and inventory sends
// in one process, checking that the live heap at the end equals the start
// and reporting the time each cycle takes.
//
//   korrin-soak [--cycles N] [--sends N] [--warmup N]
//
// A warm-up runs first so that one-time allocations (locale facets, the
// first use of a code path) are made before the start is measured. Exits 1
// when the heap grew or shrank, or when the library did not do its work.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "heap_counter.h"
#include "korrin/korrin.h"
#include "support/example_files.h"
#include "support/lean_host.h"

namespace {

using korrin_lean::AccessoryFacts;
using korrin_lean::FixedAccessory;
using korrin_lean::LeanHost;
using korrin_soak::HeapSnapshot;
using Clock = std::chrono::steady_clock;

struct Options {
  long cycles = 10000;
  long sends = 10000;
  long warmup = 100;
};

bool parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const bool has_value = i + 1 < argc;
    if (std::strcmp(argv[i], "--cycles") == 0 && has_value) {
      options.cycles = std::atol(argv[++i]);
    } else if (std::strcmp(argv[i], "--sends") == 0 && has_value) {
      options.sends = std::atol(argv[++i]);
    } else if (std::strcmp(argv[i], "--warmup") == 0 && has_value) {
      options.warmup = std::atol(argv[++i]);
    } else {
      std::fprintf(stderr, "usage: %s [--cycles N] [--sends N] [--warmup N]\n", argv[0]);
      return false;
    }
  }
  return options.cycles >= 0 && options.sends >= 0 && options.warmup >= 0;
}

// mallinfo2 counts the blocks parked in glibc's per-thread cache as in use,
// so its figure follows the cache's contents; it is exact only with the
// cache turned off.
bool malloc_comparable() {
  const char* tunables = std::getenv("GLIBC_TUNABLES");
  return tunables != nullptr && std::strstr(tunables, "glibc.malloc.tcache_count=0") != nullptr;
}

// One phase: `cycle` runs `count` times after `warmup` unmeasured runs.
// Returns false (and says why) when the heap differs or a cycle failed.
bool soak(const char* name, long warmup, long count, const std::function<bool(long)>& cycle) {
  for (long i = 0; i < warmup; ++i) {
    if (!cycle(i)) {
      std::printf("%s: warm-up cycle %ld failed\n", name, i);
      return false;
    }
  }
  std::vector<double> micros(static_cast<std::size_t>(count));
  const HeapSnapshot before = korrin_soak::heap_now();
  const Clock::time_point started = Clock::now();
  for (long i = 0; i < count; ++i) {
    const Clock::time_point start = Clock::now();
    if (!cycle(warmup + i)) {
      std::printf("%s: cycle %ld failed\n", name, i);
      return false;
    }
    micros[static_cast<std::size_t>(i)] =
        std::chrono::duration<double, std::micro>(Clock::now() - start).count();
  }
  const double total_ms = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
  const HeapSnapshot after = korrin_soak::heap_now();

  std::sort(micros.begin(), micros.end());
  const auto at = [&micros](double fraction) {
    return micros.empty() ? 0.0
                          : micros[static_cast<std::size_t>(
                                fraction * static_cast<double>(micros.size() - 1))];
  };
  std::printf(
      "%s: %ld cycles in %.0f ms; per cycle mean %.1f us, median %.1f us, p99 %.1f us, max %.1f "
      "us\n",
      name, count, total_ms, count > 0 ? total_ms * 1000.0 / static_cast<double>(count) : 0.0,
      at(0.5), at(0.99), at(1.0));
  std::printf("%s: operator new live %lld B in %lld blocks before, %lld B in %lld blocks after\n",
              name, before.bytes, before.blocks, after.bytes, after.blocks);
  std::printf("%s: malloc in use %zu B before, %zu B after\n", name, before.malloc_in_use,
              after.malloc_in_use);
  bool same = before.bytes == after.bytes && before.blocks == after.blocks;
  if (malloc_comparable()) {
    same = same && before.malloc_in_use == after.malloc_in_use;
  } else {
    std::printf(
        "%s: malloc figures not compared: glibc's thread cache is on (run with "
        "GLIBC_TUNABLES=glibc.malloc.tcache_count=0)\n",
        name);
  }
  if (!same) {
    std::printf("%s: FAILED: the live heap changed\n", name);
  }
  return same;
}

// The accessories the soak connects. Their facts are, in order: type,
// vendor, model, serial number, firmware, dock serial number and model,
// dongle model and firmware.
std::shared_ptr<const AccessoryFacts> docked_headset() {
  return std::make_shared<const AccessoryFacts>(AccessoryFacts{
      1, "Zelor", "Zelor H-5", "ZH5B2231907", "2-3-1", "DK-77120", "Zelor Dock 5", "", ""});
}

std::shared_ptr<const AccessoryFacts> wireless_headset() {
  return std::make_shared<const AccessoryFacts>(AccessoryFacts{
      1, "Zelor", "Zelor H-7 Wireless", "ZH7W5521309", "1-8-0", "", "", "Zelor D-2", "3-0-9"});
}

std::shared_ptr<const AccessoryFacts> camera() {
  return std::make_shared<const AccessoryFacts>(
      AccessoryFacts{2, "Zelor", "Zelor C-20", "ZC20K009913", "7-2-0", "", "", "", ""});
}

// Headsets and cameras in turn: create, send, delete, then the dispatcher
// runs the task, which posts the document.
bool inventory_send(LeanHost& host, long index) {
  static const FixedAccessory headset(docked_headset());
  static const FixedAccessory cam(camera());
  FixedAccessory accessory = index % 2 == 0 ? headset : cam;
  const std::size_t posts_before = host.network.posts;

  korrin::metrics::MetricsInterface* metric = create_metric(&accessory);
  const bool sent = metric->send();
  delete_metric(metric);
  const std::size_t run = host.dispatcher.run_all();
  return sent && run == 1 && host.network.posts == posts_before + 1 &&
         host.network.empty_posts == 0;
}

// The accessories connected in turn: a docked headset, a wireless headset
// with a dongle, a camera.
std::vector<FixedAccessory> connected_accessories() {
  return {FixedAccessory(docked_headset()), FixedAccessory(wireless_headset()),
          FixedAccessory(camera())};
}

// How the host answers the fetch of one cycle.
enum class Fetch {
  kAtOnce,           // the document right away
  kLater,            // pending, then on_fetch_config_success
  kFailedThenLater,  // pending, on_fetch_config_failure, the retry pending, then the document
  kUnavailable,      // the host cannot fetch now: reported, request ended
};

// One connect/configure/disconnect cycle of one accessory.
bool configure_cycle(LeanHost& host, korrin::config::ConfigManagerImpl& manager,
                     const std::vector<FixedAccessory>& accessories, const std::string& document,
                     long index) {
  const auto& accessory = accessories[static_cast<std::size_t>(index) % accessories.size()];
  const std::string id = "acc-" + std::to_string(index % 7);
  const auto fetch = static_cast<Fetch>(index % 4);
  const std::size_t failures_before = host.device.failures;

  host.network.fetch_status = fetch == Fetch::kAtOnce        ? korrin::dispatcher::FETCH_DONE
                              : fetch == Fetch::kUnavailable ? korrin::dispatcher::FETCH_UNAVAILABLE
                                                             : korrin::dispatcher::FETCH_PENDING;
  if (manager.initialize_accessory(id, &accessory) != id || host.dispatcher.run_all() != 1) {
    return false;
  }
  std::string delivered = document;
  if (fetch == Fetch::kFailedThenLater) {
    if (!manager.on_fetch_config_failure(28) || host.dispatcher.run_all() != 1) {
      return false;
    }
  }
  if (fetch == Fetch::kLater || fetch == Fetch::kFailedThenLater) {
    if (!manager.on_fetch_config_success(delivered)) {
      return false;
    }
  }
  const bool ended = !manager.is_configure_accessory_pending();
  const bool outcome = fetch == Fetch::kUnavailable ? host.device.failures == failures_before + 1
                                                    : !manager.retrieve_config(id).empty();
  manager.remove_accessory(id);
  return ended && outcome && manager.get_number_of_configs() == 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, options)) {
    return 2;
  }
  LeanHost host;
  host.install();

  const std::string document = korrin_test::read_example_document("headset_fleet.json");
  if (document.empty()) {
    std::printf("soak: cannot read the example document\n");
    return 2;
  }
  host.network.document = document;
  const std::vector<FixedAccessory> accessories = connected_accessories();

  // The manager lives through the whole phase; everything a cycle creates
  // must be gone when it ends.
  auto& manager =
      dynamic_cast<korrin::config::ConfigManagerImpl&>(*korrin::config::create_config_manager());
  bool ok = soak("configure cycles", options.warmup, options.cycles, [&](long index) {
    return configure_cycle(host, manager, accessories, document, index);
  });
  korrin::config::delete_config_manager();

  ok = soak("inventory sends", options.warmup, options.sends,
            [&host](long index) { return inventory_send(host, index); }) &&
       ok;

  std::printf(
      "host: %zu log records (%zu errors), %zu fetches, %zu settings applied, %zu firmware "
      "requests, %zu failures reported, %zu posts, %zu locks alive\n",
      host.log.records, host.log.errors, host.network.fetches, host.device.applied,
      host.device.delegations + host.device.firmware_requests, host.device.failures,
      host.network.posts, host.mutexes.live);
  ok = ok && host.mutexes.live == 0;
  std::printf("%s\n", ok ? "soak: passed" : "soak: FAILED");
  return ok ? 0 : 1;
}
