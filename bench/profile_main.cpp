// A fixed amount of work for instruction counting under callgrind, where
// the benchmark runner's adaptive iteration counts would get in the way.
//
//   korrin-bench-profile MODE SETTINGS [TIMES]
//
// MODE is one of:
//   floor      cJSON_Parse + cJSON_Delete of the document
//   update     update_from_server on objects that have not taken a document
//   repeat     update_from_server again on an object that took the same one
//   configure  apply_config_to_device(CONFIGURE) of the document's map
//   reset      apply_config_to_device(RESET) of the document's map
//   fetch      one fetch answered for SETTINGS pending accessories (the
//              document has 100 settings): the queued configure task runs
//   record     SETTINGS log records, each with a string, an integer and a
//              double inserted, delivered to the sink that drops them
//   document   prints the generated document and does nothing else
//
// Only the functions named korrin_bench_profiled_* do the measured work, so
// `valgrind --tool=callgrind --toggle-collect='korrin_bench_profiled_*'`
// counts exactly that work; objects are made and destroyed outside them.
#include <cjson/cJSON.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "support/bench_host.h"
#include "support/document_generator.h"

using korrin::config::HeadsetConfigImpl;

extern "C" {

__attribute__((noinline)) int korrin_bench_profiled_floor(const std::string* document) {
  cJSON* tree = cJSON_Parse(document->c_str());
  const int parsed = tree != nullptr ? 1 : 0;
  cJSON_Delete(tree);
  return parsed;
}

__attribute__((noinline)) int korrin_bench_profiled_update(HeadsetConfigImpl* config,
                                                           const std::string* document) {
  return config->update_from_server(*document) ? 1 : 0;
}

__attribute__((noinline)) std::size_t korrin_bench_profiled_task(
    korrin_lean::DrainedDispatcher* dispatcher) {
  return dispatcher->run_all();
}

__attribute__((noinline)) void korrin_bench_profiled_record(korrin::log::Logger* logger,
                                                            const std::string* key, int usage_id,
                                                            double updated_time) {
  logger->debug() << "apply_config_to_device: " << *key << " : (usage id: " << usage_id
                  << " , updated: " << updated_time << ")";
}

__attribute__((noinline)) void korrin_bench_profiled_apply(HeadsetConfigImpl* config,
                                                           korrin::config::ApplyType type) {
  config->apply_config_to_device(type);
}

}  // extern "C"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: korrin-bench-profile floor|update|repeat|configure|reset|fetch|"
               "record|document SETTINGS [TIMES]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    return usage();
  }
  const std::string mode = argv[1];
  const int settings = std::atoi(argv[2]);
  const int times = argc > 3 ? std::atoi(argv[3]) : 1;
  if (settings < 1 || times < 1) {
    return usage();
  }
  const std::string document = korrin_bench::make_document(settings);
  if (mode == "document") {
    std::fputs(document.c_str(), stdout);
    return 0;
  }
  korrin_bench::LeanHost& host = korrin_bench::bench_host();
  korrin_bench::FixedAccessory accessory(korrin_bench::connected_model());

  // One small document first, so one-time set-up of the standard library
  // (locale, first allocations) is not counted against the measured work.
  {
    HeadsetConfigImpl warm_up("warm-up", &accessory);
    warm_up.update_from_server(korrin_bench::make_document(10));
    cJSON_Delete(cJSON_Parse(document.c_str()));
  }

  int done = 0;
  if (mode == "floor") {
    for (int i = 0; i < times; ++i) {
      done += korrin_bench_profiled_floor(&document);
    }
  } else if (mode == "update") {
    std::vector<std::unique_ptr<HeadsetConfigImpl>> objects;
    for (int i = 0; i < times; ++i) {
      objects.push_back(std::make_unique<HeadsetConfigImpl>("acc-1", &accessory));
    }
    for (auto& config : objects) {
      done += korrin_bench_profiled_update(config.get(), &document);
    }
  } else if (mode == "record") {
    korrin::log::Logger* logger = create_logger(&host.log, "HeadsetConfigImpl", true);
    const std::string key = "sidetoneLevel";
    for (int i = 0; i < settings; ++i) {
      korrin_bench_profiled_record(logger, &key, 104, 1718035200.5);
    }
    delete_logger(logger);
    done = times;
  } else if (mode == "fetch") {
    host.network.document = korrin_bench::make_document(100);
    for (int i = 0; i < times; ++i) {
      korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
      for (int a = 0; a < settings; ++a) {
        manager->initialize_accessory("acc-" + std::to_string(a), &accessory);
      }
      done += static_cast<int>(korrin_bench_profiled_task(&host.dispatcher));
      korrin::config::delete_config_manager();
    }
  } else if (mode == "repeat" || mode == "configure" || mode == "reset") {
    HeadsetConfigImpl config("acc-1", &accessory);
    if (!config.update_from_server(document)) {
      std::fprintf(stderr, "the generated document was refused\n");
      return 1;
    }
    for (int i = 0; i < times; ++i) {
      if (mode == "repeat") {
        done += korrin_bench_profiled_update(&config, &document);
      } else {
        korrin_bench_profiled_apply(
            &config, mode == "configure" ? korrin::config::CONFIGURE : korrin::config::RESET);
        ++done;
      }
    }
  } else {
    return usage();
  }
  std::printf("%s %d x%d: %d done, %zu records, %zu settings applied\n", mode.c_str(), settings,
              times, done, host.log.records, host.device.applied);
  return done == times ? 0 : 1;
}
