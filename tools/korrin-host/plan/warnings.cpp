#include "korrin_plan/warnings.h"

#include <cctype>

#include "korrin/error_tags.h"

namespace korrin_plan {

std::string error_tag_of(const std::string& text) {
  // Every tag starts with '['; most records have none, and a large document
  // makes the library log several records per setting.
  if (text.find('[') == std::string::npos) {
    return std::string();
  }
  // The logger's name ends at the first ": "; the function's name follows.
  const std::size_t name_end = text.find(": ");
  if (name_end == std::string::npos) {
    return std::string();
  }
  std::size_t position = name_end + 2;
  while (position < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[position]);
    if (std::isalnum(c) == 0 && c != '_' && c != ':') {
      break;
    }
    ++position;
  }
  for (const std::string* tag :
       {&ERR_LIB, &ERR_QELM, &ERR_PARSING, &ERR_PLUGIN, &ERR_NETWORK, &ERR_SYSTEM}) {
    if (!tag->empty() && text.compare(position, tag->size(), *tag) == 0) {
      return *tag;
    }
  }
  return std::string();
}

bool is_warning(const LogRecord& record) {
  return static_cast<int>(record.level) <= static_cast<int>(korrin::log::warning) ||
         !error_tag_of(record.text).empty();
}

namespace {

// The text after the logger's name: "function[TAG]: message". The logger's
// name varies (a clone's logger has none), the rest is the library's own.
std::string after_logger_name(const std::string& text) {
  const std::size_t name_end = text.find(": ");
  return name_end == std::string::npos ? std::string() : text.substr(name_end + 2);
}

struct RoutineRecord {
  korrin::log::LogLevel level;
  const char* text;    ///< after the logger's name
  bool dockless_only;  ///< routine only for an accessory without a dock
  const char* reason;
};

// Every record here was checked against the library's source: the level,
// the text, and the condition under which it is logged.
const RoutineRecord kRoutineRecords[] = {
    // initialize_accessory() looks the id up before it creates the object:
    // every new accessory logs this once.
    {korrin::log::warning, "get_config_object: Cannot find config object", false,
     "logged for every new accessory: initialize_accessory() looks the id up before creating "
     "its configuration object"},
    // send_metric() tags its progress records with "[LIB-ERR]" on every send.
    {korrin::log::info, "send_metric[LIB-ERR]: ENTER", false,
     "the entry record of every inventory send carries the tag"},
    {korrin::log::info, "send_metric[LIB-ERR]: metric param cast done", false,
     "a progress record of every inventory send carries the tag"},
    {korrin::log::info, "send_metric[LIB-ERR]: metric object created", false,
     "a progress record of every inventory send carries the tag"},
    {korrin::log::info, "send_metric[LIB-ERR]: metric sent", false,
     "a progress record of every inventory send carries the tag"},
    // The dock payload is built for every accessory of the maker; without a
    // dock serial number it is left out, and both records say so.
    {korrin::log::error, "build_dock_payload: Dock serial number is empty.", true,
     "the inventory of an accessory without a dock leaves the dock out"},
    {korrin::log::error, "assemble_metrics[LIB-ERR]: Building dock payload failed", true,
     "the inventory of an accessory without a dock leaves the dock out"},
};

}  // namespace

std::string routine_reason(const LogRecord& record, const AccessoryFacts& accessory) {
  const std::string text = after_logger_name(record.text);
  for (const RoutineRecord& routine : kRoutineRecords) {
    if (record.level != routine.level || text != routine.text) {
      continue;
    }
    // A dock model without a serial number is a host that describes its dock
    // badly: then the records are a real problem.
    if (routine.dockless_only &&
        !(accessory.dock_serial_number.empty() && accessory.dock_model.empty())) {
      return std::string();
    }
    return routine.reason;
  }
  return std::string();
}

bool counts_as_warning(const LogRecord& record, const AccessoryFacts& accessory) {
  return is_warning(record) && routine_reason(record, accessory).empty();
}

std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records,
                                   const AccessoryFacts& accessory) {
  std::vector<LogRecord> warnings;
  for (const LogRecord& record : records) {
    if (counts_as_warning(record, accessory)) {
      warnings.push_back(record);
    }
  }
  return warnings;
}

std::vector<LogRecord> routine_records_of(const std::vector<LogRecord>& records,
                                          const AccessoryFacts& accessory) {
  std::vector<LogRecord> routine;
  for (const LogRecord& record : records) {
    if (is_warning(record) && !routine_reason(record, accessory).empty()) {
      routine.push_back(record);
    }
  }
  return routine;
}

std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records) {
  std::vector<LogRecord> warnings;
  for (const LogRecord& record : records) {
    if (is_warning(record)) {
      warnings.push_back(record);
    }
  }
  return warnings;
}

}  // namespace korrin_plan
