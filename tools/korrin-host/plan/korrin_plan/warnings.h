// Which of the library's log records a plan reports as warnings.
//
// A record looks like a problem when it is logged at warning level or above
// or carries one of the library's error tags. Some such records are part of
// every normal run, though: the library tags the entry record of every
// inventory send with "[LIB-ERR]", and it logs an error for the missing dock
// of every accessory that has none. Those are routine: kept and shown, but
// not counted as warnings. docs/checker.md lists them and says why.
#ifndef KORRIN_PLAN_WARNINGS_H
#define KORRIN_PLAN_WARNINGS_H

#include <string>
#include <vector>

#include "korrin_host/accessory.h"
#include "korrin_host/log_capture.h"

namespace korrin_plan {

using korrin_host::AccessoryFacts;
using korrin_host::LogRecord;

/// The library's error tag ("[QELM-ERR]" and the others of error_tags.h)
/// that a record carries directly after its function name, as in
/// "HeadsetConfigImpl: save_config_to_map[QELM-ERR]: ...", or "" for none.
/// A tag elsewhere in the text (quoted from a document) does not count.
std::string error_tag_of(const std::string& text);

/// A record looks like a problem when it is logged at warning level or
/// above, or carries one of the library's error tags.
bool is_warning(const LogRecord& record);

/// Why a record that looks like a problem is part of every normal run of
/// the library for `accessory`, or "" when it is not one of those.
std::string routine_reason(const LogRecord& record, const AccessoryFacts& accessory);

/// A record counts as a warning when it looks like a problem and is not
/// routine for `accessory`.
bool counts_as_warning(const LogRecord& record, const AccessoryFacts& accessory);

/// The records among `records` that look like problems, in order.
std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records);

/// The records that count as warnings for `accessory`, in order.
std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records,
                                   const AccessoryFacts& accessory);

/// The records that look like problems but are routine for `accessory`.
std::vector<LogRecord> routine_records_of(const std::vector<LogRecord>& records,
                                          const AccessoryFacts& accessory);

}  // namespace korrin_plan

#endif  // KORRIN_PLAN_WARNINGS_H
