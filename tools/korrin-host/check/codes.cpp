// The checker's finding-code table. Test CheckCodes (test_host_check)
// compares it with the findings of the golden documents, and test
// FindingCodes (tests/docs) with the table of docs/document-format.md.
#include "korrin_check/check.h"

namespace korrin_check {

const std::vector<FindingCode>& finding_codes() {
  using S = Severity;
  static const std::vector<FindingCode> table = {
      {"K001", "empty file", {S::kError}},
      {"K002", "not text: NUL byte, invalid UTF-8", {S::kError, S::kWarning}},
      {"K003", "JSON syntax error", {S::kError}},
      {"K004", "root is not an object", {S::kWarning}},
      {"K005", "content after the document's end", {S::kWarning}},
      {"K006", "control characters in a text", {S::kWarning}},
      {"K101", "unknown member, with the nearest known name", {S::kWarning}},
      {"K102", "member spelled in another letter case", {S::kInfo}},
      {"K103", "the same member twice in one object", {S::kWarning}},
      {"K104", "the template is not the first member, or not an object", {S::kError}},
      {"K105", "no template member", {S::kError}},
      {"K106", "wrong member type", {S::kError, S::kWarning}},
      {"K201", "the same usage id twice in one settings array", {S::kWarning}},
      {"K202", "a usage id in the common settings and in a model's settings", {S::kInfo}},
      {"K203", "access value outside Admin/User/Both", {S::kWarning, S::kInfo}},
      {"K204", "a \"Both\" setting missing a half, or named so that it is no half", {S::kWarning}},
      {"K205", "empty array where settings were expected", {S::kError, S::kWarning}},
      {"K206",
       "a settings entry missing a member it needs or with an unusable value",
       {S::kWarning}},
      {"K301", "a firmware version the library cannot read", {S::kWarning}},
      {"K302", "a model group that matches none of the given accessories", {S::kInfo}},
      {"K303", "a model name shadowed by an earlier group's name contained in it", {S::kWarning}},
      {"K304", "a firmware request older than an accessory's running version", {S::kInfo}},
      {"K305",
       "a model group or firmware entry without a member the library needs",
       {S::kError, S::kWarning}},
      {"K306", "a given accessory (or its dongle) that no model group names", {S::kError}},
  };
  return table;
}

}  // namespace korrin_check
