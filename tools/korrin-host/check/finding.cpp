#include "korrin_check/finding.h"

#include <cjson/cJSON.h>

namespace korrin_check {

const char* severity_name(Severity severity) {
  switch (severity) {
    case Severity::kError: return "error";
    case Severity::kWarning: return "warning";
    case Severity::kInfo: return "info";
  }
  return "error";
}

namespace {

const char* const kHex = "0123456789abcdef";

void append_byte_escape(std::string& out, unsigned char byte) {
  out += "\\x";
  out += kHex[byte >> 4];
  out += kHex[byte & 15];
}

void append_code_escape(std::string& out, unsigned code) {
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    out += kHex[(code >> shift) & 15];
  }
}

// Code points a terminal must not receive raw: C1 controls, the line and
// paragraph separators, and the bidirectional controls that reorder what
// follows them on the line.
bool is_unsafe_code_point(unsigned code) {
  return (code >= 0x80 && code <= 0x9F) || code == 0x2028 || code == 0x2029 ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
         code == 0x200E || code == 0x200F;
}

// The length of the valid UTF-8 sequence at `i` and its code point; 0 when
// the bytes there are not valid UTF-8 (overlong forms and surrogates count
// as invalid).
std::size_t utf8_sequence(const std::string& text, std::size_t i, unsigned& code) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(i);
  std::size_t length = 0;
  unsigned minimum = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    code = lead & 0x1F;
    minimum = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    code = lead & 0x0F;
    minimum = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    code = lead & 0x07;
    minimum = 0x10000;
  } else {
    return 0;
  }
  if (i + length > text.size()) {
    return 0;
  }
  for (std::size_t k = 1; k < length; ++k) {
    const unsigned char next = byte(i + k);
    if ((next & 0xC0) != 0x80) {
      return 0;
    }
    code = (code << 6) | (next & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return 0;
  }
  return length;
}

}  // namespace

std::string escape_control_characters(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
          if (c < 0x20 || c == 0x7F) {
            append_byte_escape(out, c);
          } else {
            out += static_cast<char>(c);
          }
      }
      ++i;
      continue;
    }
    unsigned code = 0;
    const std::size_t length = utf8_sequence(text, i, code);
    if (length == 0) {
      append_byte_escape(out, c);
      ++i;
    } else if (is_unsafe_code_point(code)) {
      append_code_escape(out, code);
      i += length;
    } else {
      out.append(text, i, length);
      i += length;
    }
  }
  return out;
}

std::string replace_invalid_utf8(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    if (static_cast<unsigned char>(text[i]) < 0x80) {
      out += text[i];
      ++i;
      continue;
    }
    unsigned code = 0;
    const std::size_t length = utf8_sequence(text, i, code);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++i;
    } else {
      out.append(text, i, length);
      i += length;
    }
  }
  return out;
}

std::string format_finding(const Finding& finding, const std::string& file_name, bool colour) {
  std::string severity = severity_name(finding.severity);
  std::string code = finding.code;
  if (colour) {
    const char* tint = finding.severity == Severity::kError     ? "\x1b[1;31m"
                       : finding.severity == Severity::kWarning ? "\x1b[1;33m"
                                                                : "\x1b[1;36m";
    severity = tint + severity + "\x1b[0m";
    code = "\x1b[1m" + escape_control_characters(code) + "\x1b[0m";
  } else {
    code = escape_control_characters(code);
  }
  return escape_control_characters(file_name) + ":" + std::to_string(finding.line) + ":" +
         std::to_string(finding.column) + ": " + severity + " " + code + ": " +
         escape_control_characters(finding.message) + " (" +
         escape_control_characters(finding.effect) + ")";
}

cJSON* findings_to_json(const std::vector<Finding>& findings) {
  cJSON* array = cJSON_CreateArray();
  for (const Finding& finding : findings) {
    cJSON* item = cJSON_CreateObject();
    cJSON_AddItemToObject(item, "code", cJSON_CreateString(finding.code.c_str()));
    cJSON_AddItemToObject(item, "severity", cJSON_CreateString(severity_name(finding.severity)));
    cJSON_AddItemToObject(item, "line", cJSON_CreateNumber(finding.line));
    cJSON_AddItemToObject(item, "column", cJSON_CreateNumber(finding.column));
    cJSON_AddItemToObject(item, "pointer", cJSON_CreateString(finding.pointer.c_str()));
    cJSON_AddItemToObject(item, "message", cJSON_CreateString(finding.message.c_str()));
    cJSON_AddItemToObject(item, "effect", cJSON_CreateString(finding.effect.c_str()));
    cJSON_AddItemToArray(array, item);
  }
  return array;
}

}  // namespace korrin_check
