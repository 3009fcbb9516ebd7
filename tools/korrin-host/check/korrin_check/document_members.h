// Every member of the configuration document the checker knows, with the
// place it belongs to and the JSON type the library reads there.
#ifndef KORRIN_CHECK_DOCUMENT_MEMBERS_H
#define KORRIN_CHECK_DOCUMENT_MEMBERS_H

#include <string>
#include <vector>

namespace korrin_check {

enum class Place { kRoot, kTemplate, kSettingsEntry, kModelGroup, kFirmwareEntry };

/// "root", "template", "settings entry", "model group", "firmware entry".
const char* place_name(Place place);

struct DocumentMember {
  Place place;
  /// The member's name, from the library's constants.
  std::string name;
  /// The JSON types the library reads there: "object", "number", "string",
  /// "array", "number or string"; "any" for a member the library does not read.
  std::string type;
};

/// The table, in document order.
const std::vector<DocumentMember>& document_members();

}  // namespace korrin_check

#endif  // KORRIN_CHECK_DOCUMENT_MEMBERS_H
