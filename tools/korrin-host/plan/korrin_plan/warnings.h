// Which of the library's log records a plan reports as warnings.
#ifndef KORRIN_PLAN_WARNINGS_H
#define KORRIN_PLAN_WARNINGS_H

#include <string>
#include <vector>

#include "korrin_host/log_capture.h"

namespace korrin_plan {

using korrin_host::LogRecord;


/// The library's error tag ("[QELM-ERR]" and the others of error_tags.h)
/// that a record carries directly after its function name, as in
/// "HeadsetConfigImpl: save_config_to_map[QELM-ERR]: ...", or "" for none.
/// A tag elsewhere in the text (quoted from a document) does not count.
std::string error_tag_of(const std::string& text);

/// A record is a warning when it is logged at warning level or above, or
/// carries one of the library's error tags.
bool is_warning(const LogRecord& record);

/// The warnings among `records`, in order.
std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records);

}  // namespace korrin_plan

#endif  // KORRIN_PLAN_WARNINGS_H
