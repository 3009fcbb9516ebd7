// Host operations that throw. For every operation the library may call on a
// host interface, a scenario drives the library until that call throws, and
// the test checks what the host is promised: the exception reaches the
// library entry point the host called (or is handled where the library
// handles host exceptions), no library lock is still held by the calling
// thread, every lock and accessory copy is released once the library's
// objects are gone (LeakSanitizer and memcheck watch the rest of the heap),
// and the library keeps working when the host calls it again.
//
// The list of operations is checked against the host interfaces declared in
// korrin/plugins.h, so an operation added there cannot be forgotten here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_param.h"
#include "support/example_files.h"
#include "support/fake_host.h"
#include "support/json_block_counter.h"
#include "support/library_handles.h"
#include "support/sample_accessories.h"

namespace {

using korrin_test::AccessoryData;
using korrin_test::c20_camera;
using korrin_test::ConfigHandle;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::FakeMutexFactory;
using korrin_test::h9_headset;
using korrin_test::InjectedFault;
using korrin_test::JsonBlockCounter;
using korrin_test::MetricHandle;
using korrin_test::param;
using korrin_test::read_file;
using korrin_test::wireless_headset;

// ---- the operations ----------------------------------------------------------

// Operations the library calls only where an exception cannot be let through:
// from destructors, or while releasing what it holds. A host must not throw
// from them; if it does, the process ends (see the death tests below).
const std::map<std::string, std::string> kMustNotThrow = {
    {"log.write_record", "records are delivered from the log stream's destructor"},
    {"mutex.unlock", "locks are released by guards, also while an exception unwinds"},
    {"mutex_factory.destroy_mutex", "locks are destroyed from destructors"},
};

// Interfaces of korrin/plugins.h and the prefix their fakes record under.
const std::map<std::string, std::string> kInterfacePrefixes = {
    {"HostLogInterface", "log."},
    {"NetworkInterface", "network."},
    {"DeviceControlInterface", "device."},
    {"SystemInfoInterface", "system_info."},
    {"TaskDispatcherInterface", "task_dispatcher."},
    {"MutexInterface", "mutex."},
    {"MutexFactoryInterface", "mutex_factory."},
    {"AccessoryInfoInterface", "accessory."},
};

// "device.apply_setting" for every virtual operation (destructors aside) of
// the host interfaces, read from the public headers themselves.
std::set<std::string> declared_host_operations() {
  const std::string include_dir = std::string(KORRIN_EXAMPLES_DIR) + "/../include/korrin/";
  const std::string headers =
      read_file(include_dir + "plugins.h") + read_file(include_dir + "host_log.h");
  std::set<std::string> operations;
  const std::regex class_start(R"(class\s+KORRIN_API\s+(\w+)\s*\{)");
  const std::regex operation(R"(virtual\s+[^;{}()~]*?\b(\w+)\s*\()");
  for (std::sregex_iterator found(headers.begin(), headers.end(), class_start), end; found != end;
       ++found) {
    const auto prefix = kInterfacePrefixes.find((*found)[1]);
    if (prefix == kInterfacePrefixes.end()) {
      continue;
    }
    const std::size_t body_start = static_cast<std::size_t>(found->position() + found->length());
    const std::size_t body_end = headers.find("\n};", body_start);
    const std::string body = headers.substr(body_start, body_end - body_start);
    for (std::sregex_iterator op(body.begin(), body.end(), operation); op != end; ++op) {
      operations.insert(prefix->second + (*op)[1].str());
    }
  }
  return operations;
}

// "system_info.get_user_id" from a call line "system_info.get_user_id()".
std::string operation_of(const std::string& line) { return line.substr(0, line.find('(')); }

// ---- scenarios ---------------------------------------------------------------

// One library entry point called by the host.
struct Step {
  std::string name;
  std::function<void()> run;
};

// A host flow through the library, step by step. A scenario owns the library
// objects it creates and releases them when it is destroyed.
class Scenario {
 public:
  explicit Scenario(FakeHost& host) : host_(host) {}
  Scenario(const Scenario&) = delete;
  Scenario& operator=(const Scenario&) = delete;
  virtual ~Scenario() = default;
  virtual std::vector<Step> steps() = 0;

 protected:
  FakeHost& host_;
};

// Checks what the library leaves behind right after an exception.
using StateCheck = std::function<void(FakeHost&, Scenario&)>;

// A maker's headset in a dock whose maker is known only by its vendor word,
// so that every accessory query of the inventory is made.
AccessoryData docked_headset() {
  AccessoryData data;
  data.vendor_headset = false;
  data.vendor = "Zelor Inc";
  data.dock_serial_number = "DOCK-1";
  data.dock_model = "Zelor D-1";
  return data;
}

// Inventory: create_metric, send, delete_metric, then the dispatcher checks
// and runs the task, which builds the document and posts it.
class InventoryScenario : public Scenario {
 public:
  explicit InventoryScenario(FakeHost& host)
      : Scenario(host), accessory_(host.accessory(docked_headset())) {}
  std::vector<Step> steps() override {
    return {
        {"create_metric", [this] { metric_.reset(create_metric(accessory_.get())); }},
        {"send", [this] { metric_->send(); }},
        {"delete_metric", [this] { metric_.reset(); }},
        {"dispatcher", [this] { host_.dispatcher.run_all(); }},
    };
  }

 private:
  std::unique_ptr<FakeAccessory> accessory_;
  MetricHandle metric_;
};

// A configuration object used directly, as the manager uses it: created,
// given settings, applied, reset, asked for its URL, cloned, re-bound to a
// re-plugged accessory, asked for a firmware, destroyed.
class ConfigObjectScenario : public Scenario {
 public:
  explicit ConfigObjectScenario(FakeHost& host)
      : Scenario(host),
        accessory_(host.accessory(AccessoryData{})),
        replugged_(host.accessory(replugged())) {}
  std::vector<Step> steps() override {
    return {
        {"create_config", [this] { config_.reset(create_config("acc-1", accessory_.get())); }},
        {"update_from_host", [this] { config_->update_from_host("volume", 5, "3"); }},
        {"set_map_entry", [this] { store_dual_and_admin_settings(); }},
        {"apply_config_to_device",
         [this] { config_->apply_config_to_device(korrin::config::CONFIGURE); }},
        {"reset_config", [this] { config_->reset_config(); }},
        {"get_config_url", [this] { config_->get_config_url(); }},
        {"clone", [this] { ConfigHandle copy(config_->clone()); }},
        {"request_upgrade", [this] { impl().request_upgrade("2-0-0", "fw-2"); }},
        {"update", [this] { config_->update(replugged_.get()); }},
        {"delete_config", [this] { config_.reset(); }},
    };
  }
  korrin::config::ConfigInterface* config() { return config_.get(); }

 private:
  static AccessoryData replugged() {
    AccessoryData data;
    data.firmware_version = "9-9-9";
    return data;
  }
  korrin::config::ConfigImpl& impl() { return dynamic_cast<korrin::config::ConfigImpl&>(*config_); }
  void store_dual_and_admin_settings() {
    impl().set_map_entry(7, param(7, "tone", "4", "Both", "2"));
    impl().set_map_entry(9, param(9, "mic", "1", "Admin"));
  }

  std::unique_ptr<FakeAccessory> accessory_;
  std::unique_ptr<FakeAccessory> replugged_;
  ConfigHandle config_;
};

// A configuration object that failed to be created does not exist.
void no_config_object(FakeHost& /*host*/, Scenario& flow) {
  EXPECT_EQ(dynamic_cast<ConfigObjectScenario&>(flow).config(), nullptr);
}

// A failed walk over the settings changes none of them.
void settings_kept(FakeHost& /*host*/, Scenario& flow) {
  const auto settings = dynamic_cast<ConfigObjectScenario&>(flow).config()->retrieve_config();
  ASSERT_EQ(settings.size(), 3u);
  EXPECT_EQ(settings.at(5).value, "3");
  EXPECT_EQ(settings.at(7).user_value, "2");
  EXPECT_EQ(settings.at(9).access, "Admin");
}

// A failed re-binding leaves the object bound to the accessory it had.
void previous_accessory_kept(FakeHost& /*host*/, Scenario& flow) {
  const korrin::AccessoryInfoInterface* accessory =
      dynamic_cast<ConfigObjectScenario&>(flow).config()->get_accessory();
  ASSERT_NE(accessory, nullptr);
  EXPECT_EQ(accessory->get_firmware_version(), "1-2-3");
}

// A small configuration document reaching every host operation of a
// document update: an H-9 headset gets common and model settings of every
// access kind and a firmware request; a wireless headset gets its own model
// settings and hands its dongle to the host's driver ("LATEST").
const char kDocument[] = R"({"templateConfiguration": {
  "updatedTime": 1718035200,
  "commonSettings": [
    {"name": "ringerVolume", "usageId": 101, "value": 5, "access": "Admin"},
    {"name": "sidetone_Admin", "usageId": 104, "value": 3, "access": "Both"},
    {"name": "sidetone_User", "usageId": 104, "value": 2, "access": "Both"},
    {"name": "answerTone_Admin", "usageId": 105, "value": 255, "access": "Both"},
    {"name": "busylight", "usageId": 136, "value": 1, "access": "Both"}
  ],
  "modelSpecificSettings": [
    {"models": ["Zelor H-9"], "modelFirmware": [{"firmwareName": "H9 release",
      "firmwareVersion": "5-1-0",
      "firmwareParams": [{"name": "spatialAudio", "usageId": 150, "value": 1, "access": "Admin"}]}]},
    {"models": ["H-7 Wireless"], "modelFirmware": [{"firmwareName": "H7 release",
      "firmwareVersion": "1-0-4",
      "firmwareParams": [{"name": "range", "usageId": 160, "value": 2, "access": "Admin"}]}]},
    {"models": ["Zelor D-2"], "modelFirmware": [{"firmwareName": "LATEST"}]}
  ]}})";

// Two configuration objects take the document over.
class DocumentScenario : public Scenario {
 public:
  explicit DocumentScenario(FakeHost& host)
      : Scenario(host),
        headset_(host.accessory(h9_headset())),
        wireless_(host.accessory(wireless_headset())) {}
  std::vector<Step> steps() override {
    return {
        {"create_config", [this] { create(); }},
        {"update_from_server", [this] { headset_config_->update_from_server(kDocument); }},
        {"update_from_server(dongle)", [this] { wireless_config_->update_from_server(kDocument); }},
    };
  }
  korrin::config::ConfigInterface* headset_config() { return headset_config_.get(); }

 private:
  void create() {
    headset_config_.reset(create_config("hs-h9-03", headset_.get()));
    wireless_config_.reset(create_config("hs-wireless-05", wireless_.get()));
  }

  std::unique_ptr<FakeAccessory> headset_;
  std::unique_ptr<FakeAccessory> wireless_;
  ConfigHandle headset_config_;
  ConfigHandle wireless_config_;
};

// The manager's whole flow: three accessories connect (the document has no
// group for the camera, so its update fails and is reported), the fetch is
// pending, fails once and is retried, the document arrives, the host reads,
// resets and sets, and everything is removed again.
class ManagerScenario : public Scenario {
 public:
  explicit ManagerScenario(FakeHost& host)
      : Scenario(host),
        headset_(host.accessory(h9_headset())),
        wireless_(host.accessory(wireless_headset())),
        camera_(host.accessory(c20_camera())) {
    host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
    host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  }
  ~ManagerScenario() override { korrin::config::delete_config_manager(); }

  std::vector<Step> steps() override {
    return {
        {"create_config_manager", [] { korrin::config::create_config_manager(); }},
        {"initialize_accessory",
         [this] { manager().initialize_accessory(kHeadset, headset_.get()); }},
        {"initialize_accessory(wireless)",
         [this] { manager().initialize_accessory(kWireless, wireless_.get()); }},
        {"initialize_accessory(camera)",
         [this] { manager().initialize_accessory(kCamera, camera_.get()); }},
        {"dispatcher", [this] { host_.dispatcher.run_all(); }},
        {"on_fetch_config_failure", [] { manager().on_fetch_config_failure(7); }},
        {"dispatcher(retry)", [this] { host_.dispatcher.run_all(); }},
        {"on_fetch_config_success",
         [] {
           std::string document = kDocument;
           manager().on_fetch_config_success(document);
         }},
        {"retrieve_config",
         [] {
           manager().retrieve_config(kHeadset);
           manager().retrieve_config(kHeadset, 101);
         }},
        {"reset_to_admin_defaults", [] { manager().reset_to_admin_defaults(kHeadset); }},
        {"update_config_from_host",
         [] { manager().update_config_from_host(kCamera, "zoom", 9, "2"); }},
        {"remove_accessory",
         [] {
           manager().remove_accessory(kHeadset);
           manager().remove_accessory(kWireless);
           manager().remove_accessory(kCamera);
         }},
        {"delete_config_manager", [] { korrin::config::delete_config_manager(); }},
    };
  }

  static korrin::config::ConfigManagerImpl& manager() {
    return *korrin::config::ConfigManagerImpl::get_instance();
  }
  static constexpr const char* kHeadset = "hs-h9-03";
  static constexpr const char* kWireless = "hs-wireless-05";
  static constexpr const char* kCamera = "cam-room-06";

 private:
  std::unique_ptr<FakeAccessory> headset_;
  std::unique_ptr<FakeAccessory> wireless_;
  std::unique_ptr<FakeAccessory> camera_;
};

std::set<int> stored_usage_ids(korrin::config::ConfigInterface* config) {
  std::set<int> ids;
  for (const auto& entry : config->retrieve_config()) {
    ids.insert(entry.first);
  }
  return ids;
}

korrin::config::ConfigInterface* headset_config(Scenario& flow) {
  return dynamic_cast<DocumentScenario&>(flow).headset_config();
}

// The document update stopped before any setting was stored.
void nothing_stored(FakeHost& /*host*/, Scenario& flow) {
  EXPECT_TRUE(headset_config(flow)->retrieve_config().empty());
}

// Every setting was stored, but the firmware step was not reached.
void settings_stored_no_firmware_request(FakeHost& host, Scenario& flow) {
  EXPECT_EQ(stored_usage_ids(headset_config(flow)), (std::set<int>{101, 104, 105, 150}));
  EXPECT_EQ(host.calls.count("device.request_firmware_upgrade"), 0u);
}

// The library caught the exception while storing the common settings: it
// logged it, stored no common setting from that entry on, and went on with
// the model settings and the firmware.
StateCheck common_settings_cut_short(const std::string& record, std::set<int> stored) {
  return [record, stored](FakeHost& host, Scenario& flow) {
    EXPECT_THAT(host.log.texts(), ::testing::Contains(record));
    EXPECT_EQ(stored_usage_ids(headset_config(flow)), stored);
    EXPECT_EQ(host.calls.count("device.request_firmware_upgrade"), 1u);
  };
}

// The library caught the exception while storing the model settings: it
// logged it, did not configure the device, and still asked for the firmware.
void model_settings_dropped(FakeHost& host, Scenario& flow) {
  EXPECT_THAT(host.log.texts(),
              ::testing::Contains("HeadsetConfigImpl: apply_settings[LIB-ERR]: injected fault: "
                                  "mutex.lock"));
  EXPECT_EQ(stored_usage_ids(headset_config(flow)), (std::set<int>{101, 104, 105}));
  EXPECT_EQ(host.calls.count("device.apply_setting(hs-h9-03"), 0u);
  EXPECT_EQ(host.calls.count("device.request_firmware_upgrade"), 1u);
}

// No manager was made: the lock made before the failing one is destroyed.
void no_manager_locks(FakeHost& host, Scenario& /*flow*/) { EXPECT_EQ(host.mutexes.live(), 0); }

// The manager's state after the exception: registered accessories, pending
// accessories, whether a request counts as in progress, and tasks queued.
StateCheck manager_state(int registered, int pending, bool in_progress, std::size_t queued) {
  return [=](FakeHost& host, Scenario& /*flow*/) {
    korrin::config::ConfigManagerImpl& manager = ManagerScenario::manager();
    EXPECT_EQ(manager.get_number_of_configs(), registered);
    EXPECT_EQ(manager.get_number_of_pending_configs(), pending);
    EXPECT_EQ(manager.is_configure_accessory_pending(), in_progress);
    EXPECT_EQ(host.dispatcher.size(), queued);
  };
}

// The library logged the exception it handled.
StateCheck logged(const std::string& record) {
  return [record](FakeHost& host, Scenario& /*flow*/) {
    EXPECT_THAT(host.log.texts(), ::testing::Contains(record));
  };
}

// One accessory's common settings were cut short (logged); the request
// ended as usual: the two headsets took the document, the camera (no model
// group for it) was reported. Which accessory comes first depends on where
// its object lies in memory, so the check holds for any of them.
void one_accessorys_common_settings_cut_short(FakeHost& host, Scenario& /*flow*/) {
  EXPECT_EQ(host.log
                .texts_containing("save_common_settings_params[LIB-ERR]injected fault: "
                                  "mutex.lock")
                .size(),
            1u);
  EXPECT_EQ(host.log.texts_containing("update_from_server: success").size(), 2u);
  EXPECT_EQ(host.calls.starting_with("device.report_config_failure"),
            (std::vector<std::string>{"device.report_config_failure(cam-room-06, 1)"}));
}

// The flow went on as if nothing had happened: the retry fetched again.
void flow_went_on(FakeHost& host, Scenario& /*flow*/) {
  EXPECT_EQ(host.calls.count("network.fetch"), 2u);
}

using ScenarioFactory = std::function<std::unique_ptr<Scenario>(FakeHost&)>;

template <typename T>
ScenarioFactory scenario() {
  return [](FakeHost& host) { return std::unique_ptr<Scenario>(new T(host)); };
}

const std::map<std::string, ScenarioFactory>& all_scenarios() {
  static const std::map<std::string, ScenarioFactory> scenarios = {
      {"inventory", scenario<InventoryScenario>()},
      {"config_object", scenario<ConfigObjectScenario>()},
      {"document", scenario<DocumentScenario>()},
      {"manager", scenario<ManagerScenario>()},
  };
  return scenarios;
}

// What happened when a scenario ran.
struct StepsOutcome {
  std::string failed_step;      // empty when every step returned
  std::string what;             // the exception's text
  int locks_held_after = 0;     // fake locks the thread held right after the throw
  std::size_t resume_from = 0;  // index of the failed step
};

// Runs the steps from `first`; stops at the first InjectedFault. Any other
// exception is a failure of the test.
StepsOutcome run_steps(std::vector<Step>& steps, std::size_t first = 0) {
  StepsOutcome run;
  for (std::size_t i = first; i < steps.size(); ++i) {
    try {
      steps[i].run();
    } catch (const InjectedFault& fault) {
      run.failed_step = steps[i].name;
      run.what = fault.what();
      run.locks_held_after = FakeMutexFactory::held_by_this_thread();
      run.resume_from = i;
      return run;
    }
  }
  run.resume_from = steps.size();
  return run;
}

// ---- the cases ---------------------------------------------------------------

// The `nth` call of `operation` throws while `scenario` runs; the exception
// must leave the library from `step`, leaving the state `state` checks.
struct FaultCase {
  std::string operation;
  int nth;
  std::string scenario;
  std::string step;
  StateCheck state = nullptr;
};

// A failed send queues nothing.
void nothing_queued(FakeHost& host, Scenario& /*flow*/) { EXPECT_EQ(host.dispatcher.size(), 0u); }

// A task that failed on the dispatcher's thread is gone and posted nothing.
void task_gone_nothing_posted(FakeHost& host, Scenario& /*flow*/) {
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_TRUE(host.network.posts().empty());
}

std::string case_name(const FaultCase& fault);

// Names a case in gtest's messages.
void PrintTo(const FaultCase& fault, std::ostream* out) { *out << case_name(fault); }

std::string case_name(const FaultCase& fault) {
  const std::string outcome = fault.step.empty() ? "handled" : "from_" + fault.step;
  std::string name =
      fault.scenario + "_" + fault.operation + "_call" + std::to_string(fault.nth) + "_" + outcome;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) {
      c = '_';
    }
  }
  return name;
}

const std::vector<FaultCase>& all_cases() {
  static const std::vector<FaultCase> cases = {
      // Inventory.
      {"accessory.get_accessory_type", 1, "inventory", "create_metric"},
      {"accessory.clone", 1, "inventory", "create_metric"},
      {"accessory.clone", 2, "inventory", "send", nothing_queued},
      // The dispatcher's own clone of the task parameters.
      {"accessory.clone", 3, "inventory", "send", nothing_queued},
      {"task_dispatcher.add_task", 1, "inventory", "send", nothing_queued},
      {"accessory.is_inventory_ready", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_accessory_type", 2, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.clone", 4, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.is_vendor_headset", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_vendor", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_client", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_serial_number", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_device_name", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_model", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_firmware_version", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_host_os_version", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_user_id", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_dock_serial_number", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_dock_model", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_serial_number", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_firmware_version", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_vendor", 2, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_model", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_connection_type", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"accessory.get_connection_status", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_inventory_url", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"system_info.get_config_servers", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      {"network.post", 1, "inventory", "dispatcher", task_gone_nothing_posted},
      // Configuration object.
      {"accessory.get_accessory_type", 1, "config_object", "create_config", no_config_object},
      {"mutex_factory.create_mutex", 1, "config_object", "create_config", no_config_object},
      {"mutex_factory.create_mutex", 2, "config_object", "create_config", no_config_object},
      {"accessory.clone", 1, "config_object", "create_config", no_config_object},
      {"mutex.lock", 1, "config_object", "update_from_host"},
      {"mutex.lock", 2, "config_object", "set_map_entry"},
      {"mutex.lock", 4, "config_object", "apply_config_to_device", settings_kept},
      // Taken again to step to the next entry.
      {"mutex.lock", 5, "config_object", "apply_config_to_device", settings_kept},
      {"device.set_follow_user_config", 1, "config_object", "apply_config_to_device",
       settings_kept},
      {"device.apply_setting", 1, "config_object", "apply_config_to_device", settings_kept},
      {"device.apply_setting", 2, "config_object", "apply_config_to_device", settings_kept},
      {"device.apply_setting", 3, "config_object", "reset_config", settings_kept},
      {"system_info.get_config_url_template", 1, "config_object", "get_config_url"},
      {"system_info.get_config_server", 1, "config_object", "get_config_url"},
      {"system_info.get_user_id", 1, "config_object", "get_config_url"},
      {"mutex_factory.create_mutex", 3, "config_object", "clone"},
      {"mutex_factory.create_mutex", 4, "config_object", "clone"},
      {"accessory.clone", 2, "config_object", "clone"},
      {"device.request_firmware_upgrade", 1, "config_object", "request_upgrade"},
      {"accessory.clone", 3, "config_object", "update", previous_accessory_kept},
      // Document update. The library handles the exceptions thrown while it
      // stores a settings array (no step fails); the others reach the host.
      {"mutex.lock", 1, "document", "",
       common_settings_cut_short(
           "HeadsetConfigImpl: save_common_settings_params[LIB-ERR]injected fault: mutex.lock",
           {150})},
      {"system_info.get_config_url_template", 1, "document", "",
       common_settings_cut_short("HeadsetConfigImpl: save_common_settings_params[LIB-ERR]"
                                 "injected fault: system_info.get_config_url_template",
                                 {101, 104, 105, 150})},
      {"mutex.lock", 4, "document", "", model_settings_dropped},
      {"accessory.get_model", 1, "document", "update_from_server", nothing_stored},
      {"accessory.get_serial_number", 1, "document", "update_from_server", nothing_stored},
      // Configuring the device after the model settings were stored.
      {"mutex.lock", 5, "document", "update_from_server", settings_stored_no_firmware_request},
      {"device.apply_setting", 1, "document", "update_from_server",
       settings_stored_no_firmware_request},
      {"device.set_follow_user_config", 1, "document", "update_from_server",
       settings_stored_no_firmware_request},
      {"accessory.get_firmware_version", 1, "document", "update_from_server",
       settings_stored_no_firmware_request},
      {"accessory.get_dongle_model", 1, "document", "update_from_server",
       settings_stored_no_firmware_request},
      // The firmware lock, taken to note the requested version.
      {"mutex.lock", 9, "document", "update_from_server", settings_stored_no_firmware_request},
      {"device.request_firmware_upgrade", 1, "document", "update_from_server"},
      {"accessory.get_dongle_model", 2, "document", "update_from_server(dongle)"},
      {"accessory.get_dongle_firmware_version", 1, "document", "update_from_server(dongle)"},
      {"device.delegate_upgrade", 1, "document", "update_from_server(dongle)"},
      // Manager. Creating it.
      {"mutex_factory.create_mutex", 1, "manager", "create_config_manager", no_manager_locks},
      {"mutex_factory.create_mutex", 2, "manager", "create_config_manager", no_manager_locks},
      // Connecting the first accessory: before it is registered, ...
      {"mutex.lock", 1, "manager", "initialize_accessory", manager_state(0, 0, false, 0)},
      {"accessory.get_accessory_type", 1, "manager", "initialize_accessory",
       manager_state(0, 0, false, 0)},
      {"mutex_factory.create_mutex", 3, "manager", "initialize_accessory",
       manager_state(0, 0, false, 0)},
      {"accessory.clone", 1, "manager", "initialize_accessory", manager_state(0, 0, false, 0)},
      {"mutex.lock", 2, "manager", "initialize_accessory", manager_state(0, 0, false, 0)},
      // ... once registered, before it is pending, ...
      {"mutex.lock", 3, "manager", "initialize_accessory", manager_state(1, 0, false, 0)},
      {"mutex.lock", 4, "manager", "initialize_accessory", manager_state(1, 0, false, 0)},
      // ... pending, before the request is marked in progress, ...
      {"mutex.lock", 5, "manager", "initialize_accessory", manager_state(1, 1, false, 0)},
      {"mutex.lock", 6, "manager", "initialize_accessory", manager_state(1, 1, false, 0)},
      // ... and marked in progress, before the task is queued: in progress
      // without a task.
      {"mutex_factory.create_mutex", 5, "manager", "initialize_accessory",
       manager_state(1, 1, true, 0)},
      {"accessory.clone", 2, "manager", "initialize_accessory", manager_state(1, 1, true, 0)},
      {"task_dispatcher.add_task", 1, "manager", "initialize_accessory",
       manager_state(1, 1, true, 0)},
      {"mutex_factory.create_mutex", 7, "manager", "initialize_accessory",
       manager_state(1, 1, true, 0)},
      // A lock that throws while a configuration object is destroyed (here the
      // stack copy of the task parameters) is handled by its destructor.
      {"mutex.lock", 7, "manager", "", flow_went_on},
      // The task on the dispatcher's thread: the exception leaves the task,
      // which is dropped; the request stays in progress without a task.
      {"accessory.is_config_ready", 1, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      {"mutex.lock", 18, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      {"system_info.get_config_url_template", 1, "manager", "dispatcher",
       manager_state(3, 3, true, 0)},
      {"system_info.get_config_server", 1, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      {"system_info.get_user_id", 1, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      {"network.fetch", 1, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      {"device.report_config_pending", 1, "manager", "dispatcher", manager_state(3, 3, true, 0)},
      // A retry after a failed fetch.
      {"mutex.lock", 20, "manager", "on_fetch_config_failure", manager_state(3, 3, true, 0)},
      {"mutex.lock", 21, "manager", "on_fetch_config_failure", manager_state(3, 3, true, 0)},
      {"mutex_factory.create_mutex", 13, "manager", "on_fetch_config_failure",
       manager_state(3, 3, true, 0)},
      {"task_dispatcher.add_task", 2, "manager", "on_fetch_config_failure",
       manager_state(3, 3, true, 0)},
      {"network.fetch", 2, "manager", "dispatcher(retry)", manager_state(3, 3, true, 0)},
      // The document arrives: an exception out of on_fetch_config_success
      // leaves the request in progress with every accessory still pending.
      {"mutex.lock", 25, "manager", "on_fetch_config_success", manager_state(3, 3, true, 0)},
      {"mutex.lock", 26, "manager", "on_fetch_config_success", manager_state(3, 3, true, 0)},
      {"accessory.get_model", 1, "manager", "on_fetch_config_success",
       manager_state(3, 3, true, 0)},
      {"device.apply_setting", 1, "manager", "on_fetch_config_success",
       manager_state(3, 3, true, 0)},
      {"device.delegate_upgrade", 1, "manager", "on_fetch_config_success",
       manager_state(3, 3, true, 0)},
      {"device.report_config_failure", 1, "manager", "on_fetch_config_success",
       manager_state(3, 3, true, 0)},
      {"device.request_firmware_upgrade", 1, "manager", "on_fetch_config_success",
       manager_state(3, 3, true, 0)},
      // Ending the request: clearing the flag, then the pending set.
      {"mutex.lock", 49, "manager", "on_fetch_config_success", manager_state(3, 3, true, 0)},
      {"mutex.lock", 50, "manager", "on_fetch_config_success", manager_state(3, 3, false, 0)},
      // Storing the first updated accessory's common settings is cut short
      // and logged; the request ends normally.
      {"mutex.lock", 27, "manager", "", one_accessorys_common_settings_cut_short},
      // The host's own calls once configured.
      {"mutex.lock", 51, "manager", "retrieve_config", manager_state(3, 0, false, 0)},
      {"device.apply_setting", 7, "manager", "reset_to_admin_defaults",
       manager_state(3, 0, false, 0)},
      {"mutex.lock", 59, "manager", "update_config_from_host", manager_state(3, 0, false, 0)},
      {"mutex.lock", 60, "manager", "",
       logged("Lib::ConfigManagerImpl: update_config_from_host: injected fault: mutex.lock")},
      {"mutex.lock", 61, "manager", "remove_accessory", manager_state(3, 0, false, 0)},
      {"mutex.lock", 62, "manager", "remove_accessory", manager_state(3, 0, false, 0)},
      // The removed object's destructor and the manager's handle their locks
      // and still release everything (checked for every case).
      {"mutex.lock", 63, "manager", ""},
      {"mutex.lock", 70, "manager", ""},
  };
  return cases;
}

class FaultInjectionTest : public ::testing::TestWithParam<FaultCase> {
 protected:
  void SetUp() override {
    accessories_at_start_ = FakeAccessory::live();
    host.install();
  }
  void TearDown() override { korrin_test::uninstall_plugins(); }

  // Counts from before the host is made until after it is gone, so that a
  // document tree or printed text an exception leaves behind shows up in
  // every build, not only under LeakSanitizer and memcheck.
  JsonBlockCounter json_blocks;
  FakeHost host;
  int accessories_at_start_ = 0;
};

TEST_P(FaultInjectionTest, ExceptionReachesTheCallerAndNothingStaysHeldOrLeaks) {
  const FaultCase& fault = GetParam();
  {
    std::unique_ptr<Scenario> flow = all_scenarios().at(fault.scenario)(host);
    std::vector<Step> steps = flow->steps();
    host.calls.arm_fault(fault.operation, fault.nth);

    const StepsOutcome run = run_steps(steps);
    EXPECT_EQ(host.calls.faults_thrown(), 1) << "the scenario never reached the armed call";
    EXPECT_EQ(run.failed_step, fault.step);
    if (!fault.step.empty()) {
      EXPECT_EQ(run.what, "injected fault: " + fault.operation);
    }
    EXPECT_EQ(run.locks_held_after, 0) << "a library lock is still held after the exception";
    if (fault.state) {
      fault.state(host, *flow);
    }

    // The host calls again, from the entry point that failed: the library
    // must still work (a lock left held would show up as a violation).
    const StepsOutcome again = run_steps(steps, run.resume_from);
    EXPECT_EQ(again.failed_step, "") << again.what;
    host.dispatcher.clear();
  }
  EXPECT_EQ(FakeMutexFactory::held_by_this_thread(), 0);
  EXPECT_EQ(host.mutexes.violations(), 0);
  EXPECT_EQ(host.mutexes.live(), 0) << "a lock made by the library was never destroyed";
  EXPECT_EQ(FakeAccessory::live(), accessories_at_start_) << "an accessory copy leaked";
  EXPECT_EQ(json_blocks.live(), 0) << "a cJSON tree or text leaked";
}

// Without any fault: the counting hooks see every block of an inventory
// document freed, the printed text included (it is released with
// cJSON_free, which pairs with whatever allocator the process installed).
TEST_F(FaultInjectionTest, InventoryReleasesEveryCJsonBlockThroughTheInstalledHooks) {
  {
    InventoryScenario flow(host);
    std::vector<Step> steps = flow.steps();
    EXPECT_EQ(run_steps(steps).failed_step, "");
  }
  ASSERT_EQ(host.network.posts().size(), 1u);
  EXPECT_EQ(json_blocks.live(), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryHostOperation, FaultInjectionTest, ::testing::ValuesIn(all_cases()),
                         [](const ::testing::TestParamInfo<FaultCase>& info) {
                           return case_name(info.param);
                         });

// ---- the list is complete ----------------------------------------------------

TEST(FaultInjectionCoverageTest, EveryDeclaredHostOperationIsEnumerated) {
  const std::set<std::string> declared = declared_host_operations();
  ASSERT_FALSE(declared.empty()) << "korrin/plugins.h could not be read";
  std::set<std::string> enumerated;
  for (const auto& fault : all_cases()) {
    enumerated.insert(fault.operation);
  }
  for (const auto& operation : kMustNotThrow) {
    enumerated.insert(operation.first);
  }
  EXPECT_EQ(enumerated, declared);
}

TEST(FaultInjectionCoverageTest, EveryOperationTheScenariosReachIsEnumerated) {
  std::set<std::string> enumerated;
  for (const auto& fault : all_cases()) {
    enumerated.insert(fault.operation);
  }
  std::set<std::string> reached;
  for (const auto& entry : all_scenarios()) {
    FakeHost host;
    host.install();
    {
      std::unique_ptr<Scenario> flow = entry.second(host);
      std::vector<Step> steps = flow->steps();
      EXPECT_EQ(run_steps(steps).failed_step, "") << entry.first;
      host.dispatcher.clear();
    }
    for (const std::string& line : host.calls.all()) {
      reached.insert(operation_of(line));
    }
    korrin_test::uninstall_plugins();
  }
  for (const std::string& operation : reached) {
    // Log records are not calls that can fail; unlock and destroy_mutex must not throw.
    if (operation.compare(0, 4, "log.") == 0 || kMustNotThrow.count(operation) > 0) {
      continue;
    }
    EXPECT_EQ(enumerated.count(operation), 1u) << operation << " has no fault case";
  }
}

// ---- operations that must not throw ------------------------------------------

class ThrowingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel /*level*/, const std::string& /*text*/) override {
    throw InjectedFault("log.write_record");
  }
};

using FaultInjectionDeathTest = FaultInjectionTest;

TEST_F(FaultInjectionDeathTest, ThrowingLogSinkEndsTheProcess) {
  ThrowingSink sink;
  korrin::log::Logger* logger = create_logger(&sink, "Any", true);
  EXPECT_DEATH(logger->notice() << "text", "injected fault: log.write_record");
  delete_logger(logger);
}

TEST_F(FaultInjectionDeathTest, ThrowingUnlockEndsTheProcess) {
  auto accessory = host.accessory(AccessoryData{});
  ConfigHandle config(create_config("acc-1", accessory.get()));
  host.calls.arm_fault("mutex.unlock");
  EXPECT_DEATH(config->update_from_host("volume", 5, "3"), "injected fault: mutex.unlock");
  host.calls.disarm_fault();
}

TEST_F(FaultInjectionDeathTest, ThrowingDestroyMutexEndsTheProcess) {
  auto accessory = host.accessory(AccessoryData{});
  ConfigHandle config(create_config("acc-1", accessory.get()));
  host.calls.arm_fault("mutex_factory.destroy_mutex");
  EXPECT_DEATH(config.reset(), "injected fault: mutex_factory.destroy_mutex");
  host.calls.disarm_fault();
}

}  // namespace
