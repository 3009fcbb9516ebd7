// The plan printed for people (text) and for programs (JSON).
#include "korrin_plan/format.h"

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "korrin/host/log_sink.h"

namespace korrin_plan {

using korrin::host::level_name;
using korrin_host::accessory_type_name;
using korrin_host::describe_accessory;

std::string format_time_number(double time) {
  if (std::isnan(time)) {
    return "nan";
  }
  if (std::isinf(time)) {
    return time > 0 ? "inf" : "-inf";
  }
  if (time == std::floor(time) && std::fabs(time) < 1e15) {
    return std::to_string(static_cast<long long>(time));
  }
  // The shortest form that reads back as the same double.
  char text[64];
  for (int precision = 15; precision <= 17; ++precision) {
    std::snprintf(text, sizeof text, "%.*g", precision, time);
    if (std::strtod(text, nullptr) == time) {
      break;
    }
  }
  return text;
}

namespace {

// "2024-10-27T03:33:20Z" for a time from 1970 to the year 9999, else "".
std::string utc_date(double time) {
  if (!(time >= 0 && time < 253402300800.0)) {
    return std::string();
  }
  const std::time_t seconds = static_cast<std::time_t>(std::floor(time));
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) {
    return std::string();
  }
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

// The text of the document, the accessories or the command line, with every
// control character escaped so that it cannot act on a terminal.
std::string safe(const std::string& text) { return korrin_check::escape_control_characters(text); }

std::string shown(const std::string& value) { return value.empty() ? "\"\"" : safe(value); }

// ANSI colours, used only when the text options ask for them.
class Paint {
 public:
  explicit Paint(bool enabled) : enabled_(enabled) {}
  std::string operator()(const std::string& text, const char* colour) const {
    return enabled_ ? std::string("\x1b[") + colour + "m" + text + "\x1b[0m" : text;
  }

 private:
  bool enabled_;
};

constexpr const char* kRed = "31";
constexpr const char* kGreen = "32";
constexpr const char* kYellow = "33";
constexpr const char* kBold = "1";

const char* outcome_colour(DocumentOutcome outcome) {
  switch (outcome) {
    case DocumentOutcome::kTaken: return kGreen;
    case DocumentOutcome::kRejected: return kRed;
    case DocumentOutcome::kNotConfigured: return kYellow;
  }
  return kBold;
}

// Rows of cells as columns two blanks apart, each line indented; no blanks
// at the ends of lines.
std::string table(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      if (widths.size() <= column) {
        widths.push_back(0);
      }
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line = indent;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 < row.size()) {
        line += std::string(widths[column] - row[column].size() + 2, ' ');
      }
    }
    while (!line.empty() && line.back() == ' ') {
      line.pop_back();
    }
    text += line + "\n";
  }
  return text;
}

std::string record_line(const LogRecord& record) {
  char level[16];
  std::snprintf(level, sizeof level, "%-8s", level_name(record.level));
  return std::string(level) + " " + safe(record.text);
}

std::string short_firmware(const FirmwarePlan& firmware) {
  if (firmware.action != FirmwarePlan::kUpgrade) {
    return firmware_action_name(firmware.action);
  }
  return (firmware.downgrade ? "downgrade to " : "upgrade to ") + safe(firmware.version);
}

int sent_count(const AccessoryPlan& plan) {
  int sent = 0;
  for (const PlannedSetting& setting : plan.settings) {
    sent += setting.sent ? 1 : 0;
  }
  return sent;
}

AccessoryFacts safe_facts(const AccessoryFacts& facts) {
  AccessoryFacts safe_copy = facts;
  for (std::string* text :
       {&safe_copy.id, &safe_copy.vendor, &safe_copy.model, &safe_copy.serial_number,
        &safe_copy.firmware_version, &safe_copy.dock_serial_number, &safe_copy.dock_model,
        &safe_copy.dongle_model, &safe_copy.dongle_firmware_version}) {
    *text = safe(*text);
  }
  return safe_copy;
}

FirmwarePlan safe_firmware(const FirmwarePlan& firmware) {
  FirmwarePlan safe_copy = firmware;
  safe_copy.version = safe(firmware.version);
  safe_copy.name = safe(firmware.name);
  return safe_copy;
}

std::string change_value(const std::string& value, bool follows_user) {
  return follows_user ? "(follows the user)" : shown(value);
}

void write_changes_text(std::ostream& out, const AccessoryChanges& changes,
                        const FirmwarePlan& firmware, const std::string& previous,
                        const Paint& paint) {
  out << "  changes from " << safe(previous) << ":";
  if (changes.settings.empty() && !changes.firmware_changed) {
    out << " none\n";
    return;
  }
  out << "\n";
  for (const SettingChange& change : changes.settings) {
    const char* colour = change.kind == SettingChange::kAdded     ? kGreen
                         : change.kind == SettingChange::kChanged ? kYellow
                                                                  : kRed;
    out << "    " << paint(change_mark(change.kind), colour) << " "
        << std::to_string(change.usage_id) << " ";
    switch (change.kind) {
      case SettingChange::kAdded:
        out << shown(change.key) << ": " << change_value(change.value, change.follows_user);
        break;
      case SettingChange::kRemoved:
        out << shown(change.key) << ": "
            << change_value(change.previous_value, change.previous_follows_user);
        break;
      case SettingChange::kChanged:
        if (change.previous_key != change.key) {
          out << shown(change.previous_key) << " \u2192 ";
        }
        out << shown(change.key) << ": "
            << change_value(change.previous_value, change.previous_follows_user) << " \u2192 "
            << change_value(change.value, change.follows_user);
        break;
    }
    out << "\n";
  }
  if (changes.firmware_changed) {
    out << "    " << paint("~", kYellow)
        << " firmware: " << describe_firmware(safe_firmware(changes.previous_firmware))
        << " \u2192 " << describe_firmware(safe_firmware(firmware)) << "\n";
  }
}

void write_accessory_text(std::ostream& out, const AccessoryPlan& plan, const PlanReport& report,
                          const Paint& paint) {
  out << "\n"
      << paint(safe(plan.facts.id), kBold) << ": " << describe_accessory(safe_facts(plan.facts))
      << "\n";
  out << "  model resolved by the library: " << shown(plan.resolved_model) << "\n";
  out << "  document: " << paint(outcome_name(plan.outcome), outcome_colour(plan.outcome));
  if (!plan.outcome_detail.empty()) {
    out << ": " << safe(plan.outcome_detail);
  }
  out << "\n";
  out << "  template time: ";
  if (plan.template_time == 0) {
    out << "none (0)\n";
  } else {
    const std::string date = utc_date(plan.template_time);
    out << format_time_number(plan.template_time) << (date.empty() ? "" : " (" + date + ")")
        << "\n";
  }
  if (plan.configure_checked) {
    out << "  configure required for " << shown(report.previous_time) << ": "
        << (plan.configure_required ? "yes" : "no") << "\n";
    for (const LogRecord& record : plan.configure_warnings) {
      out << "    " << record_line(record) << "\n";
    }
  }
  out << "  settings, in the order the device receives them:";
  if (plan.settings.empty()) {
    out << " none\n";
  } else {
    out << "\n";
    std::vector<std::vector<std::string>> rows = {
        {"usage", "key", "value", "access", "follows user"}};
    for (const PlannedSetting& setting : plan.settings) {
      rows.push_back({std::to_string(setting.usage_id), shown(setting.key),
                      setting.sent ? shown(setting.value) : "(not sent)", shown(setting.access),
                      setting.dual ? (setting.follow_user ? "yes" : "no") : "-"});
    }
    out << table(rows, "    ");
  }
  if (!plan.not_sent.empty()) {
    out << "  stored, not sent:\n";
    std::vector<std::vector<std::string>> rows = {{"usage", "key", "value", "access"}};
    for (const StoredSetting& setting : plan.not_sent) {
      rows.push_back({std::to_string(setting.usage_id), shown(setting.key), shown(setting.value),
                      shown(setting.access)});
    }
    out << table(rows, "    ");
  }
  out << "  firmware: " << describe_firmware(safe_firmware(plan.firmware)) << "\n";
  out << "  warnings: " << plan.warnings.size() << "\n";
  for (const LogRecord& record : plan.warnings) {
    out << "    " << record_line(record) << "\n";
  }
  if (!plan.routine_records.empty()) {
    out << "  routine records (not counted as warnings): " << plan.routine_records.size() << "\n";
    for (const LogRecord& record : plan.routine_records) {
      out << "    " << record_line(record) << "\n";
    }
  }
  if (plan.changes && report.previous_document) {
    write_changes_text(out, *plan.changes, plan.firmware, *report.previous_document, paint);
  }
}

struct Totals {
  int accessories = 0;
  int configured = 0;
  int rejected = 0;
  int not_configured = 0;
  int settings_sent = 0;
  /// Every firmware request, downgrades included: the library asks for both
  /// with the same call.
  int upgrades = 0;
  int downgrades = 0;
  int delegated = 0;
  int warnings = 0;
  int findings = 0;
};

Totals totals_of(const PlanReport& report) {
  Totals totals;
  for (const AccessoryPlan& plan : report.accessories) {
    ++totals.accessories;
    totals.configured += plan.outcome == DocumentOutcome::kTaken ? 1 : 0;
    totals.rejected += plan.outcome == DocumentOutcome::kRejected ? 1 : 0;
    totals.not_configured += plan.outcome == DocumentOutcome::kNotConfigured ? 1 : 0;
    totals.settings_sent += sent_count(plan);
    totals.upgrades += plan.firmware.action == FirmwarePlan::kUpgrade ? 1 : 0;
    totals.downgrades +=
        plan.firmware.action == FirmwarePlan::kUpgrade && plan.firmware.downgrade ? 1 : 0;
    totals.delegated += plan.firmware.action == FirmwarePlan::kDelegate ? 1 : 0;
    totals.warnings += static_cast<int>(plan.warnings.size());
  }
  totals.findings = static_cast<int>(report.findings.size());
  return totals;
}

std::string counted(int count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void write_summary_table(std::ostream& out, const PlanReport& report) {
  const Totals totals = totals_of(report);
  out << "\nSummary\n";
  std::vector<std::vector<std::string>> rows = {
      {"accessory", "model", "document", "sent", "firmware", "warnings"}};
  for (const AccessoryPlan& plan : report.accessories) {
    rows.push_back({safe(plan.facts.id), shown(plan.resolved_model), outcome_name(plan.outcome),
                    std::to_string(sent_count(plan)), short_firmware(plan.firmware),
                    std::to_string(plan.warnings.size())});
  }
  out << table(rows, "  ");
  out << "  accessories configured: " << totals.configured << " of " << totals.accessories << "\n";
  if (totals.downgrades == 0) {
    out << "  upgrades requested: " << totals.upgrades << "\n";
  } else {
    out << "  firmware requests: " << totals.upgrades << " ("
        << counted(totals.downgrades, "downgrade", "downgrades") << ")\n";
  }
  out << "  warnings: " << totals.warnings << "\n";
}

cJSON* string_or_null(const std::string& text, bool present) {
  return present ? cJSON_CreateString(text.c_str()) : cJSON_CreateNull();
}

cJSON* records_to_json(const std::vector<LogRecord>& records) {
  cJSON* list = cJSON_CreateArray();
  for (const LogRecord& record : records) {
    cJSON* item = cJSON_CreateObject();
    cJSON_AddStringToObject(item, "level", level_name(record.level));
    cJSON_AddStringToObject(item, "text", record.text.c_str());
    cJSON_AddItemToArray(list, item);
  }
  return list;
}

cJSON* firmware_to_json(const FirmwarePlan& plan_firmware) {
  cJSON* firmware = cJSON_CreateObject();
  cJSON_AddStringToObject(firmware, "action", firmware_action_name(plan_firmware.action));
  const bool has_version =
      plan_firmware.action == FirmwarePlan::kUpgrade ||
      (plan_firmware.action == FirmwarePlan::kNothing && plan_firmware.decided);
  cJSON_AddItemToObject(firmware, "version", string_or_null(plan_firmware.version, has_version));
  cJSON_AddItemToObject(
      firmware, "name",
      string_or_null(plan_firmware.name, plan_firmware.action == FirmwarePlan::kUpgrade));
  cJSON_AddBoolToObject(firmware, "downgrade",
                        plan_firmware.action == FirmwarePlan::kUpgrade && plan_firmware.downgrade);
  return firmware;
}

cJSON* changes_to_json(const AccessoryChanges& changes, const FirmwarePlan& firmware) {
  cJSON* item = cJSON_CreateObject();
  cJSON* settings = cJSON_AddArrayToObject(item, "settings");
  for (const SettingChange& change : changes.settings) {
    const bool before = change.kind != SettingChange::kAdded;
    const bool now = change.kind != SettingChange::kRemoved;
    cJSON* entry = cJSON_CreateObject();
    cJSON_AddStringToObject(entry, "change", change_name(change.kind));
    cJSON_AddNumberToObject(entry, "usageId", change.usage_id);
    cJSON_AddStringToObject(entry, "key", change.key.c_str());
    cJSON_AddItemToObject(
        entry, "previousKey",
        string_or_null(change.kind == SettingChange::kChanged ? change.previous_key : change.key,
                       before));
    cJSON_AddItemToObject(
        entry, "previousValue",
        string_or_null(change.previous_value, before && !change.previous_follows_user));
    cJSON_AddItemToObject(
        entry, "previousFollowsUser",
        before ? cJSON_CreateBool(change.previous_follows_user) : cJSON_CreateNull());
    cJSON_AddItemToObject(entry, "value",
                          string_or_null(change.value, now && !change.follows_user));
    cJSON_AddItemToObject(entry, "followsUser",
                          now ? cJSON_CreateBool(change.follows_user) : cJSON_CreateNull());
    cJSON_AddItemToArray(settings, entry);
  }
  cJSON_AddItemToObject(item, "firmware",
                        changes.firmware_changed ? cJSON_CreateObject() : cJSON_CreateNull());
  if (changes.firmware_changed) {
    cJSON* change = cJSON_GetObjectItemCaseSensitive(item, "firmware");
    cJSON_AddItemToObject(change, "previous", firmware_to_json(changes.previous_firmware));
    cJSON_AddItemToObject(change, "current", firmware_to_json(firmware));
  }
  return item;
}

cJSON* accessory_to_json(const AccessoryPlan& plan) {
  const AccessoryFacts& facts = plan.facts;
  cJSON* item = cJSON_CreateObject();
  cJSON_AddStringToObject(item, "id", facts.id.c_str());
  cJSON_AddNumberToObject(item, "type", facts.type);
  cJSON_AddStringToObject(item, "typeName", accessory_type_name(facts.type).c_str());
  cJSON_AddStringToObject(item, "vendor", facts.vendor.c_str());
  cJSON_AddStringToObject(item, "model", facts.model.c_str());
  cJSON_AddStringToObject(item, "serialNumber", facts.serial_number.c_str());
  cJSON_AddStringToObject(item, "firmwareVersion", facts.firmware_version.c_str());
  cJSON_AddStringToObject(item, "dockModel", facts.dock_model.c_str());
  cJSON_AddStringToObject(item, "dongleModel", facts.dongle_model.c_str());
  cJSON_AddStringToObject(item, "dongleFirmwareVersion", facts.dongle_firmware_version.c_str());
  cJSON_AddStringToObject(item, "resolvedModel", plan.resolved_model.c_str());
  cJSON_AddStringToObject(item, "outcome",
                          plan.outcome == DocumentOutcome::kNotConfigured
                              ? "notConfigured"
                              : outcome_name(plan.outcome));
  cJSON_AddItemToObject(item, "outcomeDetail",
                        string_or_null(plan.outcome_detail, !plan.outcome_detail.empty()));
  cJSON_AddNumberToObject(item, "templateTime", plan.template_time);
  cJSON_AddItemToObject(
      item, "configureRequired",
      plan.configure_checked ? cJSON_CreateBool(plan.configure_required) : cJSON_CreateNull());
  cJSON_AddItemToObject(item, "configureRequiredWarnings",
                        records_to_json(plan.configure_warnings));

  cJSON* settings = cJSON_AddArrayToObject(item, "settings");
  for (const PlannedSetting& setting : plan.settings) {
    cJSON* entry = cJSON_CreateObject();
    cJSON_AddNumberToObject(entry, "usageId", setting.usage_id);
    cJSON_AddStringToObject(entry, "key", setting.key.c_str());
    cJSON_AddBoolToObject(entry, "sent", setting.sent);
    cJSON_AddItemToObject(entry, "value", string_or_null(setting.value, setting.sent));
    cJSON_AddStringToObject(entry, "access", setting.access.c_str());
    cJSON_AddItemToObject(
        entry, "followUser",
        setting.dual ? cJSON_CreateBool(setting.follow_user) : cJSON_CreateNull());
    cJSON_AddStringToObject(entry, "storedValue", setting.stored_value.c_str());
    cJSON_AddItemToObject(entry, "userValue", string_or_null(setting.user_value, setting.dual));
    cJSON_AddItemToArray(settings, entry);
  }
  cJSON* kept = cJSON_AddArrayToObject(item, "storedNotSent");
  for (const StoredSetting& setting : plan.not_sent) {
    cJSON* entry = cJSON_CreateObject();
    cJSON_AddNumberToObject(entry, "usageId", setting.usage_id);
    cJSON_AddStringToObject(entry, "key", setting.key.c_str());
    cJSON_AddStringToObject(entry, "value", setting.value.c_str());
    cJSON_AddStringToObject(entry, "access", setting.access.c_str());
    cJSON_AddItemToArray(kept, entry);
  }

  cJSON_AddItemToObject(item, "firmware", firmware_to_json(plan.firmware));

  cJSON_AddNumberToObject(item, "warningCount", static_cast<double>(plan.warnings.size()));
  cJSON_AddItemToObject(item, "warnings", records_to_json(plan.warnings));
  cJSON_AddItemToObject(item, "routineRecords", records_to_json(plan.routine_records));
  cJSON_AddItemToObject(
      item, "changes",
      plan.changes ? changes_to_json(*plan.changes, plan.firmware) : cJSON_CreateNull());
  return item;
}

// Two blanks per level, one member or element per line; scalars as cJSON
// writes them (so strings are escaped its way).
void print_json(const cJSON* item, const std::string& indent, std::string& text) {
  const bool object = cJSON_IsObject(item);
  if (!object && !cJSON_IsArray(item)) {
    char* scalar = cJSON_PrintUnformatted(item);
    text += scalar != nullptr ? scalar : "null";
    cJSON_free(scalar);
    return;
  }
  const char* open = object ? "{" : "[";
  const char* close = object ? "}" : "]";
  if (item->child == nullptr) {
    text += std::string(open) + close;
    return;
  }
  text += std::string(open) + "\n";
  const std::string inner = indent + "  ";
  for (const cJSON* child = item->child; child != nullptr; child = child->next) {
    text += inner;
    if (object) {
      cJSON* name = cJSON_CreateString(child->string);
      print_json(name, inner, text);
      cJSON_Delete(name);
      text += ": ";
    }
    print_json(child, inner, text);
    text += child->next != nullptr ? ",\n" : "\n";
  }
  text += indent + close;
}

}  // namespace

std::string summary_line(const PlanReport& report) {
  const Totals totals = totals_of(report);
  std::string line = counted(totals.accessories, "accessory", "accessories") + ": " +
                     std::to_string(totals.configured) + " configured, " +
                     std::to_string(totals.rejected) + " rejected";
  if (totals.not_configured > 0) {
    line += ", " + std::to_string(totals.not_configured) + " not configured";
  }
  line += "; " + counted(totals.settings_sent, "setting sent", "settings sent") + ", " +
          (totals.downgrades == 0
               ? counted(totals.upgrades, "upgrade", "upgrades")
               : counted(totals.upgrades, "firmware request", "firmware requests") + " (" +
                     counted(totals.downgrades, "downgrade", "downgrades") + ")") +
          "; " + counted(totals.findings, "finding", "findings");
  return line;
}

std::string previous_unreadable_note(const PlanReport& report) {
  return "note: the previous document " + safe(report.previous_document.value_or("")) +
         " cannot be read as JSON by the library, so every accessory rejected it: the changes "
         "show every setting of this document as added";
}

std::string format_plan_text(const PlanReport& report, const TextOptions& options) {
  const Paint paint(options.color);
  std::ostringstream out;
  for (const korrin_check::Finding& finding : report.findings) {
    out << korrin_check::format_finding(finding, report.document_file, options.color) << "\n";
  }
  if (report.previous_document && report.previous_unreadable) {
    out << previous_unreadable_note(report) << "\n";
  }
  if (!options.summary_only) {
    if (!report.findings.empty() || (report.previous_document && report.previous_unreadable)) {
      out << "\n";
    }
    out << "Plan of " << safe(report.document_file) << " for " << report.accessories.size()
        << (report.accessories.size() == 1 ? " accessory" : " accessories") << "\n";
    for (const AccessoryPlan& plan : report.accessories) {
      write_accessory_text(out, plan, report, paint);
    }
    if (report.fleet) {
      write_summary_table(out, report);
    }
    out << "\n";
  }
  out << summary_line(report) << "\n";
  return out.str();
}

std::string format_plan_json(const PlanReport& report) {
  const Totals totals = totals_of(report);
  cJSON* root = cJSON_CreateObject();
  cJSON_AddNumberToObject(root, "schemaVersion", 1);
  cJSON_AddStringToObject(root, "document", report.document_file.c_str());
  cJSON_AddItemToObject(root, "previousTime",
                        string_or_null(report.previous_time, report.previous_time_given));
  cJSON_AddBoolToObject(root, "fleet", report.fleet);
  cJSON_AddItemToObject(root, "previousDocument",
                        string_or_null(report.previous_document.value_or(std::string()),
                                       report.previous_document.has_value()));
  cJSON_AddItemToObject(root, "previousDocumentReadable",
                        report.previous_document ? cJSON_CreateBool(!report.previous_unreadable)
                                                 : cJSON_CreateNull());
  cJSON_AddItemToObject(root, "findings", korrin_check::findings_to_json(report.findings));
  cJSON* accessories = cJSON_AddArrayToObject(root, "accessories");
  for (const AccessoryPlan& plan : report.accessories) {
    cJSON_AddItemToArray(accessories, accessory_to_json(plan));
  }
  cJSON* summary = cJSON_AddObjectToObject(root, "summary");
  cJSON_AddNumberToObject(summary, "accessories", totals.accessories);
  cJSON_AddNumberToObject(summary, "configured", totals.configured);
  cJSON_AddNumberToObject(summary, "rejected", totals.rejected);
  cJSON_AddNumberToObject(summary, "notConfigured", totals.not_configured);
  cJSON_AddNumberToObject(summary, "upgradesRequested", totals.upgrades);
  cJSON_AddNumberToObject(summary, "downgradesRequested", totals.downgrades);
  cJSON_AddNumberToObject(summary, "delegated", totals.delegated);
  cJSON_AddNumberToObject(summary, "warnings", totals.warnings);
  cJSON_AddNumberToObject(summary, "settingsSent", totals.settings_sent);
  cJSON_AddNumberToObject(summary, "findings", totals.findings);
  cJSON_AddNumberToObject(root, "exitStatus", report.exit_status);
  std::string text;
  print_json(root, "", text);
  cJSON_Delete(root);
  // Texts from the document or the accessories may hold bytes that are not
  // UTF-8; cJSON copies them into its strings unchanged, and JSON must be
  // UTF-8. Outside strings cJSON writes ASCII only.
  return korrin_check::replace_invalid_utf8(text) + "\n";
}

}  // namespace korrin_plan
