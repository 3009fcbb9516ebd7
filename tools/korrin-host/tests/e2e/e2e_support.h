// What the end-to-end tests of korrin-host share: running the program, host
// and accessory files written for one test, and reading its state document.
#ifndef KORRIN_HOST_TESTS_E2E_SUPPORT_H
#define KORRIN_HOST_TESTS_E2E_SUPPORT_H

#include <cjson/cJSON.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host_support/process.h"
#include "host_support/temp_dir.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace korrin_host_test {

/// Runs korrin-host with `arguments`; at most a minute.
inline ProcessResult run_korrin_host(const std::vector<std::string>& arguments) {
  std::vector<std::string> argv = {KORRIN_HOST_BINARY};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  return run_process(argv, std::chrono::seconds(60));
}

/// One docked "Zelor H-9" headset; the office document gives it three
/// settings and an upgrade to 5-1-0.
inline const char* one_headset() {
  return R"([{"id": "hs-1", "type": 1, "vendor": "Zelor", "model": "Zelor H-9",
    "serial": "ZH9C0007A1", "firmware": "5-0-2", "dockSerial": "DK-1", "dockModel": "Zelor Dock 9",
    "connectionType": "USB", "connectionStatus": "connected"}])";
}

/// The settings the office document puts on a "Zelor H-9", in order.
inline std::vector<std::string> h9_settings() {
  return {"statusLed(5)=on", "noiseCancelling(20)=high", "busylight(21)=1"};
}

/// A host file with these URLs and servers.
inline std::string host_file_text(const std::string& config_url, const std::string& inventory_url,
                                  const std::vector<std::string>& servers) {
  std::string list;
  for (const std::string& server : servers) {
    list += (list.empty() ? "\"" : ", \"") + server + "\"";
  }
  return R"({"client": "korrin-host", "deviceName": "lab", "serialNumber": "HOST-7",
    "model": "Test Host", "firmwareVersion": "1-0-0", "userId": "user-1017",
    "hostOSVersion": "Test OS 1", "configUrlTemplate": ")" +
         config_url + R"(", "inventoryUrl": ")" + inventory_url + R"(", "configServers": [)" +
         list + "]}";
}

/// A scratch directory holding a copy of the office document (world-readable,
/// as in.tftpd wants it) and the files of one run.
class RunFiles {
 public:
  RunFiles() {
    dir.write_readable("office.json",
                       korrin_host::read_text_file(KORRIN_EXAMPLES_DIR "/documents/office.json"));
  }
  /// Arguments of `run` for these URLs, servers and accessories.
  std::vector<std::string> run_arguments(const std::string& config_url,
                                         const std::string& inventory_url,
                                         const std::vector<std::string>& servers,
                                         const std::string& accessories = one_headset()) {
    return {"run",
            "--host",
            dir.write("host.json", host_file_text(config_url, inventory_url, servers)),
            "--accessories",
            dir.write("accessories.json", accessories),
            "--state-out",
            state_path(),
            "--time-scale",
            "0.01",
            "--timeout",
            "30"};
  }
  /// run_arguments() that fetch office.json from the HTTP server at `port`
  /// through the one configuration server 127.0.0.1, with no inventory URL.
  std::vector<std::string> office_arguments(int port,
                                            const std::string& accessories = one_headset()) {
    return run_arguments("http://{tftp}:" + std::to_string(port) + "/office.json", "",
                         {"127.0.0.1"}, accessories);
  }
  std::string state_path() const { return dir.path() + "/state.json"; }

  TempDir dir;
};

/// The state document a run wrote.
class State {
 public:
  explicit State(const std::string& path)
      : root_(cJSON_Parse(korrin_host::read_text_file(path).c_str()), cJSON_Delete) {}
  const cJSON* root() const { return root_.get(); }
  const cJSON* at(const std::vector<std::string>& path) const {
    const cJSON* node = root_.get();
    for (const std::string& key : path) {
      node = cJSON_GetObjectItemCaseSensitive(node, key.c_str());
    }
    return node;
  }
  std::string text(const std::vector<std::string>& path) const {
    const cJSON* node = at(path);
    return cJSON_IsString(node) ? node->valuestring : "<not a string>";
  }
  double number(const std::vector<std::string>& path) const {
    const cJSON* node = at(path);
    return cJSON_IsNumber(node) ? node->valuedouble : -1;
  }
  /// "key(usage)=value" of every setting applied to `id`, in order.
  std::vector<std::string> applied(const std::string& id) const {
    std::vector<std::string> settings;
    const cJSON* list = at({"device", "accessories", id, "appliedSettings"});
    for (const cJSON* item = list != nullptr ? list->child : nullptr; item != nullptr;
         item = item->next) {
      settings.push_back(
          std::string(cJSON_GetObjectItemCaseSensitive(item, "key")->valuestring) + "(" +
          std::to_string(cJSON_GetObjectItemCaseSensitive(item, "usageId")->valueint) +
          ")=" + cJSON_GetObjectItemCaseSensitive(item, "value")->valuestring);
    }
    return settings;
  }
  /// The accessory entry of `id` in "accessories".
  const cJSON* accessory(const std::string& id) const {
    for (const cJSON* item = at({"accessories"})->child; item != nullptr; item = item->next) {
      if (id == cJSON_GetObjectItemCaseSensitive(item, "id")->valuestring) {
        return item;
      }
    }
    return nullptr;
  }
  std::string status(const std::string& id) const {
    const cJSON* item = accessory(id);
    return item != nullptr ? cJSON_GetObjectItemCaseSensitive(item, "status")->valuestring
                           : "<no such accessory>";
  }
  std::string firmware(const std::string& id) const {
    const cJSON* item = accessory(id);
    return item != nullptr ? cJSON_GetObjectItemCaseSensitive(item, "firmware")->valuestring
                           : "<no such accessory>";
  }
  /// "kind url" of each transfer, in order.
  std::vector<std::string> transfers() const {
    std::vector<std::string> list;
    for (const cJSON* item = at({"transfers"})->child; item != nullptr; item = item->next) {
      list.push_back(std::string(cJSON_GetObjectItemCaseSensitive(item, "kind")->valuestring) +
                     " " + cJSON_GetObjectItemCaseSensitive(item, "url")->valuestring);
    }
    return list;
  }
  /// The transfers of one kind.
  std::vector<const cJSON*> transfers_of(const std::string& kind) const {
    std::vector<const cJSON*> list;
    for (const cJSON* item = at({"transfers"})->child; item != nullptr; item = item->next) {
      if (kind == cJSON_GetObjectItemCaseSensitive(item, "kind")->valuestring) {
        list.push_back(item);
      }
    }
    return list;
  }
  std::vector<int> numbers(const std::vector<std::string>& path) const {
    std::vector<int> values;
    for (const cJSON* item = at(path)->child; item != nullptr; item = item->next) {
      values.push_back(item->valueint);
    }
    return values;
  }
  std::vector<std::string> strings(const std::vector<std::string>& path) const {
    std::vector<std::string> values;
    for (const cJSON* item = at(path)->child; item != nullptr; item = item->next) {
      values.push_back(item->valuestring);
    }
    return values;
  }

 private:
  std::unique_ptr<cJSON, void (*)(cJSON*)> root_;
};

/// Whether `text` contains `part`.
inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_E2E_SUPPORT_H
