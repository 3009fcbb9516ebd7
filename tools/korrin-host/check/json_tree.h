// A JSON reader that keeps the byte offset of every token, for the checker's
// positions. It accepts exactly the texts the library's own parser (cJSON
// 1.7) accepts, with the same leniencies: a UTF-8 byte order mark at the
// start, every byte from 1 to 32 as white space, raw control characters
// inside strings, numbers as strtod reads them, content after the value,
// and at most 1000 nested arrays or objects.
//
// Why not rapidjson: its reader rejects raw control characters in strings,
// which cJSON takes as they are, so documents the library reads would get
// no positions at all; this reader follows cJSON instead.
#ifndef KORRIN_CHECK_JSON_TREE_H
#define KORRIN_CHECK_JSON_TREE_H

#include <cstddef>
#include <string>
#include <vector>

namespace korrin_check {
namespace json {

enum class Kind { kNull, kFalse, kTrue, kNumber, kString, kArray, kObject };

/// "null", "false", "true", "a number", "a string", "an array", "an object".
const char* kind_name(Kind kind);

struct Node {
  Kind kind = Kind::kNull;
  /// Byte offset of the value's first character.
  std::size_t offset = 0;
  /// For a member of an object: its name (decoded) and the offset of the
  /// name's opening quote.
  std::string key;
  std::size_t key_offset = 0;
  /// The number's value, as strtod reads it.
  double number = 0;
  /// The number's text as written, or the string's decoded text (cut at a
  /// NUL character, as the library sees it).
  std::string text;
  /// Elements of an array, members of an object, in document order.
  std::vector<Node> children;
};

struct ParseResult {
  bool ok = false;
  Node root;
  /// Where the value ended; trailing content starts at the first byte after
  /// it that is not white space (`trailing`, or npos when there is none).
  std::size_t trailing = std::string::npos;
  /// When not ok: the offset of the problem and what was expected there.
  std::size_t error_offset = 0;
  std::string error;
};

/// Reads `text` (the bytes the library hands to its parser).
ParseResult parse(const std::string& text);

}  // namespace json
}  // namespace korrin_check

#endif  // KORRIN_CHECK_JSON_TREE_H
