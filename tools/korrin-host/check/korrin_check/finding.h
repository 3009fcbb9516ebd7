// A finding of the document checker: one problem in a configuration
// document, where it is and what the device does because of it. Plain data,
// so that any front end (terminal, JSON, a web page) can present it.
#ifndef KORRIN_CHECK_FINDING_H
#define KORRIN_CHECK_FINDING_H

#include <string>
#include <vector>

struct cJSON;

namespace korrin_check {

enum class Severity { kError, kWarning, kInfo };

/// "error", "warning" or "info".
const char* severity_name(Severity severity);

struct Finding {
  /// Stable code from the documented table, e.g. "K101".
  std::string code;
  Severity severity = Severity::kError;
  /// 1-based position of the offending token; columns count characters
  /// (UTF-8 code points), not bytes. 1:1 for an empty document.
  int line = 1;
  int column = 1;
  /// RFC 6901 JSON Pointer of the offending value, "" for the root.
  std::string pointer;
  /// What is wrong, naming the member, entry, model or group.
  std::string message;
  /// What the device does instead, e.g. "entry dropped".
  std::string effect;
};

/// Every control character of `text` (C0, DEL, C1) written as an escape
/// ("\n", "\t", "\x1b", "\u0085", ...), and a backslash as "\\", so that the
/// text cannot move the cursor, change colours or forge an output line.
/// Invalid UTF-8 bytes are written as "\xNN".
std::string escape_control_characters(const std::string& text);

/// `text` with every byte that is not part of a valid UTF-8 sequence
/// replaced by U+FFFD (the replacement character, bytes EF BF BD), one per
/// byte; valid text is returned unchanged.
std::string replace_invalid_utf8(const std::string& text);

/// "file:line:column: severity code: message (effect)", with every text from
/// the document escaped; the severity and code coloured when `colour`.
std::string format_finding(const Finding& finding, const std::string& file_name, bool colour);

/// A new cJSON array of objects with exactly the members code, severity,
/// line, column, pointer, message and effect. The caller deletes it.
cJSON* findings_to_json(const std::vector<Finding>& findings);

}  // namespace korrin_check

#endif  // KORRIN_CHECK_FINDING_H
