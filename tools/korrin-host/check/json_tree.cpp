#include "json_tree.h"

#include <cstdlib>

namespace korrin_check {
namespace json {

const char* kind_name(Kind kind) {
  switch (kind) {
    case Kind::kNull: return "null";
    case Kind::kFalse: return "false";
    case Kind::kTrue: return "true";
    case Kind::kNumber: return "a number";
    case Kind::kString: return "a string";
    case Kind::kArray: return "an array";
    case Kind::kObject: return "an object";
  }
  return "a value";
}

namespace {

// cJSON's limit of nested arrays and objects.
constexpr int kNestingLimit = 1000;

class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  ParseResult run() {
    ParseResult result;
    if (text_.compare(0, 3, "\xEF\xBB\xBF") == 0) {
      pos_ = 3;
    }
    skip_space();
    if (!value(result.root, 0)) {
      result.error_offset = error_offset_;
      result.error = error_;
      return result;
    }
    result.ok = true;
    skip_space();
    if (pos_ < text_.size()) {
      result.trailing = pos_;
    }
    return result;
  }

 private:
  bool at_end() const { return pos_ >= text_.size(); }
  unsigned char peek() const { return static_cast<unsigned char>(text_[pos_]); }

  void skip_space() {
    while (!at_end() && peek() >= 1 && peek() <= 32) {
      ++pos_;
    }
  }

  // What is found at the current position, for error messages.
  std::string found() const {
    if (at_end()) {
      return "the end of the document";
    }
    const unsigned char c = peek();
    if (c >= 0x21 && c < 0x7F) {
      return std::string("'") + static_cast<char>(c) + "'";
    }
    static const char* const kHex = "0123456789abcdef";
    return std::string("byte 0x") + kHex[c >> 4] + kHex[c & 15];
  }

  bool fail(std::size_t offset, const std::string& message) {
    error_offset_ = offset;
    error_ = message;
    return false;
  }

  bool value(Node& node, int depth) {
    node.offset = pos_;
    if (at_end()) {
      return fail(pos_, "expected a value, found the end of the document");
    }
    const char c = text_[pos_];
    if (literal("null")) {
      node.kind = Kind::kNull;
      return true;
    }
    if (literal("false")) {
      node.kind = Kind::kFalse;
      return true;
    }
    if (literal("true")) {
      node.kind = Kind::kTrue;
      return true;
    }
    if (c == '"') {
      node.kind = Kind::kString;
      return string(node.text);
    }
    if (c == '-' || (c >= '0' && c <= '9')) {
      node.kind = Kind::kNumber;
      return number(node);
    }
    if (c == '[') {
      node.kind = Kind::kArray;
      return array(node, depth);
    }
    if (c == '{') {
      node.kind = Kind::kObject;
      return object(node, depth);
    }
    return fail(pos_, "expected a value, found " + found());
  }

  bool literal(const char* word) {
    const std::string w(word);
    if (text_.compare(pos_, w.size(), w) == 0) {
      pos_ += w.size();
      return true;
    }
    return false;
  }

  // cJSON copies at most 63 characters of [0-9+-eE.] and hands them to
  // strtod; the number ends where strtod stopped.
  bool number(Node& node) {
    std::string run;
    for (std::size_t i = pos_; i < text_.size() && run.size() < 63; ++i) {
      const char c = text_[i];
      if ((c >= '0' && c <= '9') || c == '+' || c == '-' || c == 'e' || c == 'E' || c == '.') {
        run += c;
      } else {
        break;
      }
    }
    const std::size_t used = strtod_length(run);
    if (used == 0) {
      return fail(pos_, "expected a number, found " + found());
    }
    node.text = run.substr(0, used);
    node.number = std::strtod(node.text.c_str(), nullptr);
    pos_ += used;
    return true;
  }

  // The length of the longest prefix of `s` that strtod reads as a decimal
  // number: sign, digits with an optional point, optional exponent.
  static std::size_t strtod_length(const std::string& s) {
    std::size_t i = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
      ++i;
    }
    std::size_t digits = 0;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
      ++i;
      ++digits;
    }
    if (i < s.size() && s[i] == '.') {
      ++i;
      while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
        ++i;
        ++digits;
      }
    }
    if (digits == 0) {
      return 0;
    }
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
      std::size_t j = i + 1;
      if (j < s.size() && (s[j] == '+' || s[j] == '-')) {
        ++j;
      }
      if (j < s.size() && s[j] >= '0' && s[j] <= '9') {
        while (j < s.size() && s[j] >= '0' && s[j] <= '9') {
          ++j;
        }
        i = j;
      }
    }
    return i;
  }

  static int hex_digit(char c) {
    if (c >= '0' && c <= '9') {
      return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
      return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
      return c - 'A' + 10;
    }
    return -1;
  }

  bool hex4(std::size_t at, unsigned& code) const {
    if (at + 4 > text_.size()) {
      return false;
    }
    code = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
      const int d = hex_digit(text_[i]);
      if (d < 0) {
        return false;
      }
      code = code * 16 + static_cast<unsigned>(d);
    }
    return true;
  }

  static void append_utf8(std::string& out, unsigned code) {
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | (code >> 6));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | (code >> 12));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (code >> 18));
      out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }

  // Like cJSON: find the closing quote first (a backslash skips the next
  // byte), then decode the escapes; raw control characters are kept.
  bool string(std::string& out) {
    const std::size_t start = pos_;
    std::size_t end = pos_ + 1;
    while (end < text_.size() && text_[end] != '"') {
      if (text_[end] == '\\') {
        ++end;
      }
      ++end;
    }
    if (end >= text_.size()) {
      return fail(start, "string without a closing '\"'");
    }
    out.clear();
    for (std::size_t i = start + 1; i < end; ++i) {
      if (text_[i] != '\\') {
        out += text_[i];
        continue;
      }
      const char e = text_[i + 1];
      switch (e) {
        case 'b': out += '\b'; break;
        case 'f': out += '\f'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case '"':
        case '\\':
        case '/': out += e; break;
        case 'u': {
          unsigned code = 0;
          if (!hex4(i + 2, code) || (code >= 0xDC00 && code <= 0xDFFF)) {
            return fail(i, "invalid \\u escape in a string");
          }
          std::size_t used = 6;
          if (code >= 0xD800 && code <= 0xDBFF) {
            unsigned low = 0;
            if (i + 7 >= end || text_[i + 6] != '\\' || text_[i + 7] != 'u' || !hex4(i + 8, low) ||
                low < 0xDC00 || low > 0xDFFF) {
              return fail(i, "invalid \\u escape in a string (unpaired surrogate)");
            }
            code = 0x10000 + (((code & 0x3FF) << 10) | (low & 0x3FF));
            used = 12;
          }
          append_utf8(out, code);
          i += used - 2;
          break;
        }
        default: return fail(i, "invalid escape in a string");
      }
      ++i;
    }
    // The library holds strings as C strings: a \u0000 ends them.
    const std::size_t nul = out.find('\0');
    if (nul != std::string::npos) {
      out.resize(nul);
    }
    pos_ = end + 1;
    return true;
  }

  bool array(Node& node, int depth) {
    if (depth >= kNestingLimit) {
      return fail(pos_, "more than 1000 nested arrays and objects");
    }
    ++pos_;
    skip_space();
    if (!at_end() && text_[pos_] == ']') {
      ++pos_;
      return true;
    }
    while (true) {
      node.children.emplace_back();
      if (!value(node.children.back(), depth + 1)) {
        return false;
      }
      skip_space();
      if (!at_end() && text_[pos_] == ',') {
        ++pos_;
        skip_space();
        continue;
      }
      if (!at_end() && text_[pos_] == ']') {
        ++pos_;
        return true;
      }
      return fail(pos_, "expected ',' or ']' after an array element, found " + found());
    }
  }

  bool object(Node& node, int depth) {
    if (depth >= kNestingLimit) {
      return fail(pos_, "more than 1000 nested arrays and objects");
    }
    ++pos_;
    skip_space();
    if (!at_end() && text_[pos_] == '}') {
      ++pos_;
      return true;
    }
    while (true) {
      if (at_end() || text_[pos_] != '"') {
        return fail(pos_, "expected a member name in double quotes, found " + found());
      }
      node.children.emplace_back();
      Node& member = node.children.back();
      member.key_offset = pos_;
      if (!string(member.key)) {
        return false;
      }
      skip_space();
      if (at_end() || text_[pos_] != ':') {
        return fail(pos_, "expected ':' after the member name, found " + found());
      }
      ++pos_;
      skip_space();
      if (!value(member, depth + 1)) {
        return false;
      }
      skip_space();
      if (!at_end() && text_[pos_] == ',') {
        ++pos_;
        skip_space();
        continue;
      }
      if (!at_end() && text_[pos_] == '}') {
        ++pos_;
        return true;
      }
      return fail(pos_, "expected ',' or '}' after a member, found " + found());
    }
  }

  const std::string& text_;
  std::size_t pos_ = 0;
  std::size_t error_offset_ = 0;
  std::string error_;
};

}  // namespace

ParseResult parse(const std::string& text) { return Reader(text).run(); }

}  // namespace json
}  // namespace korrin_check
