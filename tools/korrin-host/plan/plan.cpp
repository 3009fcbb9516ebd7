#include "korrin_plan/plan.h"

#include <cjson/cJSON.h>

#include <map>
#include <memory>
#include <set>

#include "korrin/config_manager.h"
#include "korrin/host/lock_factory.h"
#include "korrin/plugins.h"
#include "korrin/string_utils.h"
#include "korrin_host/document_network.h"
#include "korrin_host/inline_dispatcher.h"
#include "korrin_host/json_input.h"
#include "korrin_plan/warnings.h"
#include "observed_config.h"

namespace korrin_plan {

using korrin_host::Accessory;
using korrin_host::DeviceCallLog;
using korrin_host::DocumentNetwork;
using korrin_host::InlineDispatcher;
using korrin_host::Readiness;
using korrin_host::RequestRecord;

const char* outcome_name(DocumentOutcome outcome) {
  switch (outcome) {
    case DocumentOutcome::kTaken: return "taken";
    case DocumentOutcome::kRejected: return "rejected";
    case DocumentOutcome::kNotConfigured: return "not configured";
  }
  return "unknown";
}

const char* firmware_action_name(FirmwarePlan::Action action) {
  switch (action) {
    case FirmwarePlan::kUpgrade: return "upgrade";
    case FirmwarePlan::kDelegate: return "delegate";
    case FirmwarePlan::kStay: return "stay";
    case FirmwarePlan::kNothing: return "nothing";
    case FirmwarePlan::kFailure: return "failure";
  }
  return "unknown";
}

std::string describe_firmware(const FirmwarePlan& firmware) {
  switch (firmware.action) {
    case FirmwarePlan::kUpgrade:
      return (firmware.downgrade ? "downgrade to " : "upgrade to ") + firmware.version +
             " requested (firmware name " + firmware.name + ")";
    case FirmwarePlan::kDelegate: return "upgrade delegated to the host's driver";
    case FirmwarePlan::kStay: return "stay on the running firmware";
    case FirmwarePlan::kNothing:
      if (!firmware.decided) {
        return "nothing";
      }
      return firmware.version.empty() ? "no upgrade (no configured version)"
                                      : "no upgrade (configured version " + firmware.version + ")";
    case FirmwarePlan::kFailure: return "failure: no firmware decision";
  }
  return "unknown";
}

const char* change_mark(SettingChange::Kind kind) {
  switch (kind) {
    case SettingChange::kAdded: return "+";
    case SettingChange::kChanged: return "~";
    case SettingChange::kRemoved: return "-";
  }
  return "?";
}

const char* change_name(SettingChange::Kind kind) {
  switch (kind) {
    case SettingChange::kAdded: return "added";
    case SettingChange::kChanged: return "changed";
    case SettingChange::kRemoved: return "removed";
  }
  return "unknown";
}

AccessoryChanges compare_plans(const AccessoryPlan& previous, const AccessoryPlan& current) {
  AccessoryChanges changes;
  std::map<int, const PlannedSetting*> before;
  std::map<int, const PlannedSetting*> now;
  for (const PlannedSetting& setting : previous.settings) {
    before.emplace(setting.usage_id, &setting);
  }
  for (const PlannedSetting& setting : current.settings) {
    now.emplace(setting.usage_id, &setting);
  }
  // Both maps are ordered by usage id: walk them side by side.
  auto old_it = before.begin();
  auto new_it = now.begin();
  while (old_it != before.end() || new_it != now.end()) {
    SettingChange change;
    if (new_it == now.end() || (old_it != before.end() && old_it->first < new_it->first)) {
      const PlannedSetting& old_setting = *old_it->second;
      change.kind = SettingChange::kRemoved;
      change.usage_id = old_it->first;
      change.key = old_setting.key;
      change.previous_value = old_setting.value;
      change.previous_follows_user = !old_setting.sent;
      changes.settings.push_back(change);
      ++old_it;
      continue;
    }
    const PlannedSetting& new_setting = *new_it->second;
    change.usage_id = new_it->first;
    change.key = new_setting.key;
    change.value = new_setting.value;
    change.follows_user = !new_setting.sent;
    if (old_it == before.end() || new_it->first < old_it->first) {
      change.kind = SettingChange::kAdded;
      changes.settings.push_back(change);
      ++new_it;
      continue;
    }
    const PlannedSetting& old_setting = *old_it->second;
    if (old_setting.key != new_setting.key || old_setting.sent != new_setting.sent ||
        old_setting.value != new_setting.value) {
      change.kind = SettingChange::kChanged;
      change.previous_key = old_setting.key;
      change.previous_value = old_setting.value;
      change.previous_follows_user = !old_setting.sent;
      changes.settings.push_back(change);
    }
    ++old_it;
    ++new_it;
  }
  const FirmwarePlan& was = previous.firmware;
  const FirmwarePlan& is = current.firmware;
  changes.previous_firmware = was;
  changes.firmware_changed = was.action != is.action || was.version != is.version ||
                             was.name != is.name || was.decided != is.decided;
  return changes;
}

namespace {

// What the plan's host says about itself: fixed answers, nothing read from
// the running system, so that a plan is the same wherever it runs.
class PlanSystemInfo : public korrin::SystemInfoInterface {
 public:
  explicit PlanSystemInfo(std::string config_url_template)
      : config_url_template_(std::move(config_url_template)) {}

  std::string get_client() override { return "korrin-host plan"; }
  std::string get_device_name() override { return std::string(); }
  std::string get_serial_number() override { return std::string(); }
  std::string get_model() override { return std::string(); }
  std::string get_firmware_version() override { return std::string(); }
  std::string get_user_id() override { return std::string(); }
  std::string get_host_os_version() override { return std::string(); }
  std::string get_config_url_template() override { return config_url_template_; }
  std::string get_inventory_url() override { return std::string(); }
  std::string get_config_server(int) override { return std::string(); }
  std::vector<std::string> get_config_servers() override { return {}; }

 private:
  const std::string config_url_template_;
};

// The plan's log sink. It keeps only the records that look like problems
// (is_warning): a large document makes the library log several debug
// records per setting, and keeping those would cost more than the plan.
// Every record still goes on to `forward` when one is given.
class ProblemCapture : public korrin::log::HostLogInterface {
 public:
  explicit ProblemCapture(korrin::log::HostLogInterface* forward) : forward_(forward) {}

  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    try {
      LogRecord record{level, text};
      if (is_warning(record)) {
        kept_.push_back(std::move(record));
      }
      if (forward_ != nullptr) {
        forward_->write_record(level, text);
      }
    } catch (...) {
      // Losing one record is better than ending the process from a destructor.
    }
  }

  /// A mark to ask for the records kept since.
  std::size_t size() const { return kept_.size(); }
  std::vector<LogRecord> records_since(std::size_t mark) const {
    return std::vector<LogRecord>(kept_.begin() + static_cast<std::ptrdiff_t>(mark), kept_.end());
  }

 private:
  korrin::log::HostLogInterface* forward_;
  std::vector<LogRecord> kept_;
};

// The library's global state lives from init() to this guard's end: the
// manager is deleted first, then the plugin table is emptied so that nothing
// points at the plan's components once they are gone.
class LibrarySession {
 public:
  explicit LibrarySession(korrin::Plugins& table) { korrin::init(table); }
  LibrarySession(const LibrarySession&) = delete;
  LibrarySession& operator=(const LibrarySession&) = delete;
  ~LibrarySession() {
    korrin::config::delete_config_manager();
    korrin::globals::plugins = korrin::Plugins();
  }
};

// A configuration object of the class the library's own factory picks for
// the accessory, or null when the factory makes none. The factory's object
// only answers that question; the plan's object is of the same class and is
// built by the same constructor, but its state can be read afterwards.
std::unique_ptr<ObservedConfig> make_observed_config(const std::string& id,
                                                     const korrin::AccessoryInfoInterface& info) {
  korrin::config::ConfigInterface* probe = create_config(id, &info);
  std::unique_ptr<ObservedConfig> observed;
  if (dynamic_cast<korrin::config::HeadsetConfigImpl*>(probe) != nullptr) {
    observed.reset(new ObservedLeafConfig<korrin::config::HeadsetConfigImpl>(id, &info));
  } else if (dynamic_cast<korrin::config::CameraConfigImpl*>(probe) != nullptr) {
    observed.reset(new ObservedLeafConfig<korrin::config::CameraConfigImpl>(id, &info));
  }
  delete_config(probe);
  return observed;
}

// The settings in the order of the device calls. A dual setting announces
// itself with set_follow_user_config(); when it does not follow the user the
// apply_setting() of the same usage id comes next and completes its row.
std::vector<PlannedSetting> settings_in_call_order(
    const std::vector<DeviceCall>& calls, const std::map<int, korrin::ConfigParam>& stored) {
  std::vector<PlannedSetting> rows;
  for (const DeviceCall& call : calls) {
    const auto entry = stored.find(call.usage_id);
    const bool known = entry != stored.end();
    if (call.kind == DeviceCall::kFollowUserConfig) {
      PlannedSetting row;
      row.usage_id = call.usage_id;
      row.dual = true;
      row.follow_user = call.follow;
      if (known) {
        row.key = entry->second.key;
        row.access = entry->second.access;
        row.stored_value = entry->second.value;
        row.user_value = entry->second.user_value;
      }
      rows.push_back(row);
    } else if (call.kind == DeviceCall::kApplySetting) {
      if (!rows.empty() && rows.back().dual && !rows.back().follow_user && !rows.back().sent &&
          rows.back().usage_id == call.usage_id) {
        rows.back().sent = true;
        rows.back().key = call.key;
        rows.back().value = call.value;
        continue;
      }
      PlannedSetting row;
      row.usage_id = call.usage_id;
      row.key = call.key;
      row.sent = true;
      row.value = call.value;
      if (known) {
        row.access = entry->second.access;
        row.stored_value = entry->second.value;
      }
      rows.push_back(row);
    }
  }
  return rows;
}

std::vector<StoredSetting> settings_not_sent(const std::vector<PlannedSetting>& rows,
                                             const std::map<int, korrin::ConfigParam>& stored) {
  std::set<int> named;
  for (const PlannedSetting& row : rows) {
    named.insert(row.usage_id);
  }
  std::vector<StoredSetting> kept;
  for (const auto& entry : stored) {
    if (named.count(entry.first) == 0) {
      kept.push_back(
          StoredSetting{entry.first, entry.second.key, entry.second.value, entry.second.access});
    }
  }
  return kept;
}

FirmwarePlan firmware_of(const AccessoryPlan& plan, const ObservedConfig& observed) {
  FirmwarePlan firmware;
  if (plan.outcome == DocumentOutcome::kRejected) {
    firmware.action = FirmwarePlan::kFailure;
    return firmware;
  }
  if (plan.outcome == DocumentOutcome::kNotConfigured) {
    firmware.action = FirmwarePlan::kNothing;
    return firmware;
  }
  for (const DeviceCall& call : plan.calls) {
    if (call.kind == DeviceCall::kFirmwareUpgrade) {
      firmware.action = FirmwarePlan::kUpgrade;
      firmware.version = call.firmware_version;
      firmware.name = call.firmware_name;
      firmware.downgrade = korrin_check::older_firmware_version(
          call.firmware_version, plan.facts.dongle_model.empty()
                                     ? plan.facts.firmware_version
                                     : plan.facts.dongle_firmware_version);
      return firmware;
    }
    if (call.kind == DeviceCall::kDelegateUpgrade) {
      firmware.action = FirmwarePlan::kDelegate;
      return firmware;
    }
  }
  if (!observed.firmware_decided()) {
    firmware.action = FirmwarePlan::kStay;
    return firmware;
  }
  firmware.action = FirmwarePlan::kNothing;
  firmware.decided = true;
  firmware.version = observed.decided_firmware();
  return firmware;
}

// Whether the document reached the accessory, from what the library did.
void decide_outcome(AccessoryPlan& plan, bool queued, const InlineDispatcher& dispatcher) {
  for (const DeviceCall& call : plan.calls) {
    if (call.kind == DeviceCall::kConfigFailure) {
      plan.outcome = DocumentOutcome::kRejected;
      plan.outcome_detail =
          "the library reported a configuration failure (code " + std::to_string(call.code) + ")";
      return;
    }
    if (call.kind == DeviceCall::kConfigPending) {
      plan.outcome = DocumentOutcome::kNotConfigured;
      plan.outcome_detail = "the library reported its fetch as pending";
      return;
    }
  }
  plan.outcome = DocumentOutcome::kNotConfigured;
  if (!queued) {
    plan.outcome_detail = "the library queued no configure request";
  } else if (dispatcher.stats().ran == 0) {
    plan.outcome_detail = "the configure task did not run";
  } else if (plan.fetched_urls.empty()) {
    plan.outcome_detail = "the library fetched no document";
  } else {
    plan.outcome = DocumentOutcome::kTaken;
  }
}

}  // namespace

AccessoryPlan plan_accessory(const std::string& document, const AccessoryFacts& facts,
                             const PlanHost& host,
                             const std::optional<std::string>& previous_time) {
  AccessoryPlan plan;
  plan.facts = facts;

  // A dry run does not wait: every accessory counts as ready.
  AccessoryFacts ready = facts;
  ready.config_ready = Readiness();
  ready.inventory_ready = Readiness();

  ProblemCapture log(host.log_forward);
  DocumentNetwork network(document);
  DeviceCallLog device;
  PlanSystemInfo system_info(host.config_url_template);
  InlineDispatcher dispatcher;
  korrin::host::LockFactory locks;
  korrin::Plugins table{&log, &network, &device, &system_info, &dispatcher, &locks};

  const Accessory accessory(std::make_shared<const AccessoryFacts>(ready), Accessory::Clock::now(),
                            1.0);
  {
    LibrarySession session(table);
    plan.resolved_model = get_headset_model(&accessory);
    korrin::config::ConfigManagerImpl* manager = korrin::config::ConfigManagerImpl::get_instance();

    const std::size_t start = log.size();
    std::unique_ptr<ObservedConfig> observed = make_observed_config(facts.id, accessory);
    if (!observed) {
      plan.outcome = DocumentOutcome::kNotConfigured;
      plan.configurable = false;
      plan.outcome_detail = "the library has no configuration object for accessory type " +
                            std::to_string(facts.type);
      plan.firmware.action = FirmwarePlan::kNothing;
      const std::vector<LogRecord> records = log.records_since(start);
      plan.warnings = warnings_of(records, facts);
      plan.routine_records = routine_records_of(records, facts);
      return plan;
    }
    // initialize_accessory() would create an object whose state cannot be
    // read, and its lookup of a new id logs a warning that says nothing about
    // the document. So the plan's object is registered first and then asked
    // for its configuration exactly as initialize_accessory() asks for a new
    // accessory's. The manager owns the object from here on.
    ObservedConfig* config = observed.release();
    manager->add_config_object(facts.id, config->config());
    const bool queued = manager->configure_accessory(facts.id, std::string());
    dispatcher.run_queued();
    const std::vector<LogRecord> records = log.records_since(start);
    plan.warnings = warnings_of(records, facts);
    plan.routine_records = routine_records_of(records, facts);

    plan.calls = device.calls();
    for (const RequestRecord& fetch : network.fetches()) {
      plan.fetched_urls.push_back(fetch.url);
    }
    decide_outcome(plan, queued, dispatcher);
    plan.template_time = config->version_time();
    const std::map<int, korrin::ConfigParam> stored = config->config()->retrieve_config();
    plan.settings = settings_in_call_order(plan.calls, stored);
    plan.not_sent = settings_not_sent(plan.settings, stored);
    plan.firmware = firmware_of(plan, *config);

    if (previous_time) {
      const std::size_t asked = log.size();
      plan.configure_checked = true;
      plan.configure_required = config->config()->is_config_required(*previous_time);
      plan.configure_warnings = warnings_of(log.records_since(asked), facts);
    }
  }
  return plan;
}

constexpr int kExitStrictFindings = 5;

PlanReport plan_document(const PlanRequest& request) {
  PlanReport report;
  report.document_file = request.document_name;
  report.fleet = request.fleet;
  report.previous_time_given = request.previous_time.has_value();
  report.previous_time = request.previous_time.value_or(std::string());

  std::vector<AccessoryFacts> accessories;
  for (const AccessoriesInput& input : request.accessories) {
    // A fleet is an accessories file, always an array.
    std::vector<AccessoryFacts> listed =
        request.fleet ? korrin_host::parse_accessories(input.json, input.name)
                      : korrin_host::parse_accessory_or_list(input.json, input.name);
    if (listed.empty()) {
      throw InputError(input.name + ": the list holds no accessories");
    }
    for (AccessoryFacts& facts : listed) {
      for (const AccessoryFacts& earlier : accessories) {
        if (earlier.id == facts.id) {
          throw InputError(input.name + ": accessory \"" + facts.id + "\" is given twice");
        }
      }
      accessories.push_back(std::move(facts));
    }
  }
  if (accessories.empty()) {
    throw InputError("no accessories to plan for");
  }

  PlanHost host;
  if (!request.no_url_template) {
    // Any template but none at all behaves the same for the document; the
    // document's own location is what a host would fetch.
    host.config_url_template = request.config_url_template.empty()
                                   ? "file://" + request.document_name
                                   : request.config_url_template;
  }
  host.log_forward = request.log_forward;

  PlanHost previous_host = host;
  previous_host.log_forward = nullptr;  // its records are not this document's
  if (request.previous_document) {
    report.previous_document = request.previous_document_name;
    // The library hands the document to its parser as a C string.
    cJSON* previous = cJSON_Parse(request.previous_document->c_str());
    report.previous_unreadable = previous == nullptr;
    cJSON_Delete(previous);
  }
  for (const AccessoryFacts& facts : accessories) {
    AccessoryPlan plan = plan_accessory(request.document, facts, host, request.previous_time);
    if (request.previous_document) {
      const AccessoryPlan previous =
          plan_accessory(*request.previous_document, facts, previous_host);
      plan.changes = compare_plans(previous, plan);
    }
    if (plan.outcome != DocumentOutcome::kTaken) {
      report.exit_status = 1;
    }
    report.accessories.push_back(std::move(plan));
  }

  // The checker reads the document with what the library made of each
  // accessory: the model it matched groups against, the firmware it asked for.
  std::vector<korrin_check::CheckedAccessory> checked;
  for (const AccessoryPlan& plan : report.accessories) {
    korrin_check::CheckedAccessory accessory;
    accessory.id = plan.facts.id;
    accessory.type = plan.facts.type;
    accessory.configurable = plan.configurable;
    accessory.model = plan.facts.model;
    accessory.resolved_model = plan.resolved_model;
    accessory.serial_number = plan.facts.serial_number;
    accessory.firmware_version = plan.facts.firmware_version;
    accessory.dongle_model = plan.facts.dongle_model;
    accessory.dongle_firmware_version = plan.facts.dongle_firmware_version;
    if (plan.firmware.action == FirmwarePlan::kUpgrade) {
      accessory.requested_firmware_version = plan.firmware.version;
    }
    checked.push_back(std::move(accessory));
  }
  report.findings = korrin_check::check_document(request.document, checked);
  if (report.exit_status == 0 && request.strict) {
    for (const korrin_check::Finding& finding : report.findings) {
      if (finding.severity == korrin_check::Severity::kError ||
          finding.severity == korrin_check::Severity::kWarning) {
        report.exit_status = kExitStrictFindings;
        break;
      }
    }
  }
  return report;
}

}  // namespace korrin_plan
