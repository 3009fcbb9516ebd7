// The planning library of the reference host: a dry run of a configuration
// document. The real library takes the document over for each accessory, on
// in-memory host components, and the plan reports what it decided: the model
// it resolved, the document's version time, the settings in the order the
// device would receive them, the firmware action and the problems it logged.
//
// Everything here works on text in memory and returns data: no files, no
// terminal, no threads. `korrin-host plan` is one front end over it; a web
// page built with emscripten can be another.
#ifndef KORRIN_PLAN_PLAN_H
#define KORRIN_PLAN_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "korrin/host_log.h"
#include "korrin_check/check.h"
#include "korrin_host/accessory.h"
#include "korrin_host/device_calls.h"
#include "korrin_host/json_input.h"
#include "korrin_host/log_capture.h"

namespace korrin_plan {

using korrin_host::AccessoryFacts;
using korrin_host::DeviceCall;
using korrin_host::InputError;
using korrin_host::LogRecord;

/// What the host does with one accessory's copy of the document.
enum class DocumentOutcome {
  kTaken,          ///< the library took the document over
  kRejected,       ///< the library reported a configuration failure
  kNotConfigured,  ///< the library never handed the document to the accessory
};

/// "taken", "rejected" or "not configured".
const char* outcome_name(DocumentOutcome outcome);

/// One setting as the device receives it.
struct PlannedSetting {
  int usage_id = 0;
  std::string key;
  /// Sent with apply_setting(); false for a dual setting that follows the user.
  bool sent = false;
  std::string value;  ///< the value sent (empty when not sent)
  std::string access;
  /// A dual ("Both") setting: the device was told whether it follows the user.
  bool dual = false;
  bool follow_user = false;
  std::string stored_value;  ///< the value the library stored
  std::string user_value;    ///< the user's value the library stored (dual settings)
};

/// A setting the library stored without sending it.
struct StoredSetting {
  int usage_id = 0;
  std::string key;
  std::string value;
  std::string access;
};

/// The firmware action the library took.
struct FirmwarePlan {
  enum Action {
    kUpgrade,   ///< request_firmware_upgrade(version, name)
    kDelegate,  ///< delegate_upgrade(): the host's own driver decides
    kStay,      ///< the document keeps the running firmware ("Current")
    kNothing,   ///< decided on `version` and requested nothing
    kFailure,   ///< the document was rejected: no firmware decision
  };
  Action action = kNothing;
  std::string version;   ///< kUpgrade: requested; kNothing: decided on (may be empty)
  std::string name;      ///< kUpgrade: the firmware name
  bool decided = false;  ///< kNothing: the library reached a decision on `version`
  /// kUpgrade: `version` is older than the running one (of the dongle, for
  /// an accessory with a dongle): the request takes the accessory back.
  bool downgrade = false;
};

/// "upgrade", "delegate", "stay", "nothing" or "failure".
const char* firmware_action_name(FirmwarePlan::Action action);

/// "upgrade to 5-1-0 requested (firmware name zelor-h9.bin)", "downgrade to
/// 2-3-10 requested (...)", "stay on the
/// running firmware", ...: the firmware action in words.
std::string describe_firmware(const FirmwarePlan& firmware);

/// How one setting differs between a previous document's plan and this one.
struct SettingChange {
  enum Kind {
    kAdded,    ///< sent or announced now, not before
    kChanged,  ///< both, with another key, value or follow-user decision
    kRemoved,  ///< before, no longer
  };
  Kind kind = kAdded;
  int usage_id = 0;
  std::string key;           ///< the key now (kRemoved: the key before)
  std::string previous_key;  ///< the key before (kChanged)
  /// The value sent; empty with `follows_user` for a dual setting left to
  /// the user. `previous_*` describe the previous document (kChanged, kRemoved).
  std::string value;
  bool follows_user = false;
  std::string previous_value;
  bool previous_follows_user = false;
};

/// "+", "~" or "-".
const char* change_mark(SettingChange::Kind kind);
/// "added", "changed" or "removed".
const char* change_name(SettingChange::Kind kind);

/// What changes for one accessory between a previous document and this one.
struct AccessoryChanges {
  std::vector<SettingChange> settings;  ///< by usage id
  bool firmware_changed = false;
  FirmwarePlan previous_firmware;
};

/// The plan of one accessory.
struct AccessoryPlan {
  AccessoryFacts facts;
  std::string resolved_model;  ///< get_headset_model() of the accessory
  DocumentOutcome outcome = DocumentOutcome::kNotConfigured;
  std::string outcome_detail;  ///< why, when not taken
  /// False when the library has no configuration object for the accessory's
  /// type: it never reads a document for it.
  bool configurable = true;
  /// The version time the accessory's configuration object holds after the
  /// document (its "updatedTime"; 0 when none was taken).
  double template_time = 0;
  /// is_config_required(previous time) after the document, when asked.
  bool configure_checked = false;
  bool configure_required = false;
  std::vector<LogRecord> configure_warnings;  ///< warnings of that question
  std::vector<PlannedSetting> settings;       ///< in the order the device receives them
  std::vector<StoredSetting> not_sent;        ///< stored, never sent, by usage id
  FirmwarePlan firmware;
  std::vector<LogRecord> warnings;  ///< the library's warnings while it took the document
  /// Records that look like problems but are part of every normal run
  /// (korrin_plan/warnings.h); not counted as warnings.
  std::vector<LogRecord> routine_records;
  std::vector<DeviceCall> calls;          ///< every device call, in order
  std::vector<std::string> fetched_urls;  ///< what the library fetched
  /// Against the previous document, when one was given.
  std::optional<AccessoryChanges> changes;
};

/// The changes from `previous` to `current`, two plans of one accessory.
AccessoryChanges compare_plans(const AccessoryPlan& previous, const AccessoryPlan& current);

/// The plan of a document for a list of accessories.
struct PlanReport {
  std::string document_file;
  bool fleet = false;
  bool previous_time_given = false;
  std::string previous_time;
  /// Names the previous document when the plan compares with one.
  std::optional<std::string> previous_document;
  /// The library's parser cannot read the previous document (not JSON, or
  /// cut by a NUL byte): every accessory rejected it, so every setting of
  /// this document shows as added.
  bool previous_unreadable = false;
  std::vector<AccessoryPlan> accessories;
  /// What the checker found in the document, in document order.
  std::vector<korrin_check::Finding> findings;
  /// 0 taken by every accessory, 1 otherwise; with `strict`, 5 when every
  /// accessory took the document but a finding has severity warning or error.
  int exit_status = 0;
};

/// What the in-memory host answers besides the document.
struct PlanHost {
  /// The configuration URL template; empty for a host without one.
  std::string config_url_template;
  /// Receives a copy of every library record when not null.
  korrin::log::HostLogInterface* log_forward = nullptr;
};

/// Runs the library on `document` for one accessory: installs in-memory host
/// components, registers a configuration object for the accessory with the
/// configuration manager, asks for its configuration as initialize_accessory()
/// does, runs the configure task (whose fetch is answered with `document`),
/// then shuts everything down and resets the plugin table. With
/// `previous_time`, the object is then asked is_config_required() of it. The
/// readiness of `facts` is ignored: the plan shows what happens once the
/// accessory is ready.
AccessoryPlan plan_accessory(const std::string& document, const AccessoryFacts& facts,
                             const PlanHost& host,
                             const std::optional<std::string>& previous_time = std::nullopt);

/// One accessories input: a JSON object (one accessory) or an array of
/// them, in the accessory file format of examples/README.md.
struct AccessoriesInput {
  std::string name;  ///< names the input in error messages, e.g. its file name
  std::string json;
};

/// Everything a plan is given.
struct PlanRequest {
  /// Names the document in the output and in findings (e.g. its file name).
  std::string document_name;
  std::string document;
  /// The accessories, in order; every id may appear once only.
  std::vector<AccessoriesInput> accessories;
  /// The accessories form one accessories file (an array) planned as a
  /// whole: the text then ends with a summary table.
  bool fleet = false;
  /// The version stamp to ask the configure-required question with.
  std::optional<std::string> previous_time;
  /// An earlier document: the report then tells per accessory what changes.
  std::optional<std::string> previous_document;
  std::string previous_document_name;
  /// Plan as a host without a configuration URL template.
  bool no_url_template = false;
  /// The template a host with one answers; empty: "file://" + document_name.
  std::string config_url_template;
  /// Any finding of severity warning or error makes the exit status non-zero.
  bool strict = false;
  /// Receives a copy of every library record when not null; must outlive the call.
  korrin::log::HostLogInterface* log_forward = nullptr;
};

/// Plans `request.document` for every accessory of the request. Throws
/// InputError for malformed accessories, an empty list or an id given twice.
PlanReport plan_document(const PlanRequest& request);

}  // namespace korrin_plan

#endif  // KORRIN_PLAN_PLAN_H
