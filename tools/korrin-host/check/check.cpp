// The checking pass over a configuration document. It reads the document
// the way the library does (the same parser leniencies, member names looked
// up ignoring letter case, the first of two equal names read, the template
// found through first children only) and reports, for each mistake, what
// the library does instead.
#include "korrin_check/check.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "json_tree.h"
#include "korrin/constants.h"
#include "korrin_check/document_members.h"

namespace korrin_check {

namespace {

using json::Kind;
using json::Node;

std::string lower(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

bool same_ignoring_case(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string pointer_token(const std::string& token) {
  std::string out;
  for (char c : token) {
    if (c == '~') {
      out += "~0";
    } else if (c == '/') {
      out += "~1";
    } else {
      out += c;
    }
  }
  return out;
}

std::string child_pointer(const std::string& parent, const std::string& token) {
  return parent + "/" + pointer_token(token);
}

std::string child_pointer(const std::string& parent, std::size_t index) {
  return parent + "/" + std::to_string(index);
}

// cJSON's member lookup: the first member whose name equals `name` ignoring
// letter case; only objects have members.
const Node* member(const Node* node, const std::string& name) {
  if (node == nullptr || node->kind != Kind::kObject) {
    return nullptr;
  }
  for (const Node& child : node->children) {
    if (same_ignoring_case(child.key, name)) {
      return &child;
    }
  }
  return nullptr;
}

// The first element of an array or first member of an object.
const Node* first_child(const Node* node) {
  if (node == nullptr || node->children.empty() ||
      (node->kind != Kind::kArray && node->kind != Kind::kObject)) {
    return nullptr;
  }
  return &node->children.front();
}

// cJSON's integer value of a number: saturated at the int range.
int int_value(double number) {
  if (number >= static_cast<double>(INT_MAX)) {
    return INT_MAX;
  }
  if (number <= static_cast<double>(INT_MIN)) {
    return INT_MIN;
  }
  return static_cast<int>(number);
}

bool all_decimal_digits(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool contains_letter(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; });
}

// The library's naming test of firmware versions: letters, digits and "-".
bool unreadable_version(const std::string& version) {
  return std::any_of(version.begin(), version.end(), [](char c) {
    return !(std::isalpha(static_cast<unsigned char>(c)) || (c >= '0' && c <= '9') || c == '-');
  });
}

// The readable spelling of a version: every other character becomes "-".
std::string dash_form(const std::string& version) {
  std::string out;
  for (char c : version) {
    const bool keep = std::isalpha(static_cast<unsigned char>(c)) || (c >= '0' && c <= '9');
    if (keep) {
      out += c;
    } else if (!out.empty() && out.back() != '-') {
      out += '-';
    }
  }
  while (!out.empty() && out.back() == '-') {
    out.pop_back();
  }
  return out;
}

// The dash form of `version` when it is what the library compares piece by
// piece: numbers joined by single separators, nothing before or after ("5.1.0"
// gives "5-1-0"); "" for anything else ("v2.4.0 ", "1..2").
std::string suggested_version(const std::string& version) {
  std::string out;
  bool digit_before = false;
  for (char c : version) {
    if (c >= '0' && c <= '9') {
      out += c;
      digit_before = true;
    } else if (digit_before && !std::isalpha(static_cast<unsigned char>(c))) {
      out += '-';
      digit_before = false;
    } else {
      return std::string();
    }
  }
  return digit_before ? out : std::string();
}

std::vector<std::string> split_version(const std::string& version) {
  std::vector<std::string> pieces(1);
  for (char c : version) {
    if (c == '-') {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  return pieces;
}

// True when `candidate` is an older release than `running`: the same number
// of pieces, no letters, and the first differing piece smaller.
bool older_version(const std::string& candidate, const std::string& running) {
  const std::vector<std::string> a = split_version(candidate);
  const std::vector<std::string> b = split_version(running);
  if (a.size() != b.size() || contains_letter(candidate) || contains_letter(running)) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    const long x = std::strtol(a[i].c_str(), nullptr, 10);
    const long y = std::strtol(b[i].c_str(), nullptr, 10);
    if (x != y) {
      return x < y;
    }
  }
  return false;
}

std::size_t edit_distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// A number's text for messages: as written in the document.
std::string shown(const Node& node) {
  switch (node.kind) {
    case Kind::kString: return quoted(node.text);
    case Kind::kNumber: return node.text;
    case Kind::kNull: return "null";
    case Kind::kTrue: return "true";
    case Kind::kFalse: return "false";
    default: return json::kind_name(node.kind);
  }
}

// "a string (\"x\")", "null", "an array": the kind, with the value when short.
std::string described(const Node& node) {
  switch (node.kind) {
    case Kind::kString:
    case Kind::kNumber: return std::string(json::kind_name(node.kind)) + " (" + shown(node) + ")";
    default: return json::kind_name(node.kind);
  }
}

// What is lost when the section `name` is missing because it was misspelled:
// "" for members whose absence loses nothing beyond themselves.
std::string section_loss(const std::string& name) {
  if (name == KEY_COMMON_SETTINGS) {
    return "; all common settings ignored: no accessory gets them";
  }
  if (name == KEY_MODEL_SPECIFIC_SETTINGS) {
    return "; no model group is read: no accessory gets model settings or a firmware decision";
  }
  if (name == KEY_UPDATED_TIME) {
    return "; the template time is 0";
  }
  if (name == KEY_FIRMWARE_PARAMS) {
    return "; no model settings for this group, and the device is not told to take any "
           "settings";
  }
  return std::string();
}

struct Pending {
  std::size_t offset;
  Finding finding;
};

// One valid settings entry, as the library stores it.
struct StoredEntry {
  int usage_id;
  std::string name;
  std::string value;
  std::size_t offset;
  std::string pointer;
  /// "value", "administrator value" or "user value": what the entry sets.
  std::string field;
};

struct Group {
  const Node* node;
  std::size_t index;
  std::string pointer;
  std::string label;
};

class Checker {
 public:
  Checker(const std::string& document, const std::vector<CheckedAccessory>& accessories)
      : document_(document), accessories_(accessories) {}

  std::vector<Finding> run();

 private:
  void add(const std::string& code, Severity severity, std::size_t offset,
           const std::string& pointer, const std::string& message, const std::string& effect) {
    pending_.push_back({offset, {code, severity, 1, 1, pointer, message, effect}});
  }

  // A member `name` missing from `node`: when an unknown member of `node`
  // was taken for a misspelling of it, its K101 finding becomes this one,
  // at the misspelled name, saying both.
  void add_missing(const std::string& code, Severity severity, const Node& node,
                   const std::string& name, std::size_t offset, const std::string& pointer,
                   const std::string& message, const std::string& effect) {
    auto found = suggested_.find({&node, name});
    if (found == suggested_.end()) {
      add(code, severity, offset, pointer, message, effect);
      return;
    }
    Finding& finding = pending_[found->second.first].finding;
    finding.code = code;
    finding.severity = severity;
    finding.message = message + "; " + quoted(found->second.second) +
                      " is there instead: a misspelling of it, which the library ignores";
    finding.effect = effect;
  }

  bool check_text(std::string& text);
  void check_structure(const Node& root);
  void check_control_characters(const Node& node, const std::string& pointer,
                                const std::string& text);
  void check_member_names(const Node& node, Place place, const std::string& pointer,
                          const std::string& where);
  void check_template(const Node& node, const std::string& pointer);
  std::vector<StoredEntry> check_settings(const Node& array, const std::string& pointer,
                                          const std::string& section,
                                          const std::map<int, StoredEntry>* common);
  void check_group(const Group& group, const std::map<int, StoredEntry>& common);
  void check_shadowing(const std::vector<Group>& groups);
  void check_accessories(const Node& template_node, const std::vector<Group>& groups);
  int group_for(const Node& template_node, const std::string& model) const;
  std::vector<Finding> positioned();

  const std::string& document_;
  const std::vector<CheckedAccessory>& accessories_;
  std::vector<Pending> pending_;
  /// (object, suggested known name) -> (index of the K101 in pending_, the
  /// unknown name).
  std::map<std::pair<const Node*, std::string>, std::pair<std::size_t, std::string>> suggested_;
  std::set<std::size_t> shadowed_groups_;
  /// The groups that give the given accessories their settings.
  std::set<int> settings_groups_;
  std::string template_pointer_;
  const Node* template_node_ = nullptr;
  /// False when the library reads another member than the template: what
  /// the template says then reaches no accessory.
  bool template_read_ = true;
};

std::vector<Finding> Checker::run() {
  std::string text = document_;
  if (!check_text(text)) {
    return positioned();
  }
  // The library's own parser decides whether the document can be read.
  cJSON* tree = cJSON_Parse(text.c_str());
  const char* error_position = tree == nullptr ? cJSON_GetErrorPtr() : nullptr;
  cJSON_Delete(tree);
  const json::ParseResult parsed = json::parse(text);
  const std::string unreadable =
      "the library cannot read the document: nothing is configured and "
      "no firmware is decided";
  // A NUL byte cuts the document: when its JSON ends unfinished there, the
  // K002 finding at that byte says so, instead of a K003 at the same place.
  if (tree == nullptr && text.size() < document_.size() && !pending_.empty() &&
      pending_.front().offset == text.size() && (parsed.ok || parsed.error_offset >= text.size())) {
    Finding& nul = pending_.front().finding;
    nul.message += ", and the JSON is unfinished there";
    nul.effect =
        "the library reads the document only up to this byte and cannot parse that part: "
        "nothing is configured and no firmware is decided";
    return positioned();
  }
  if (tree == nullptr) {
    if (!parsed.ok) {
      const bool comment = text.compare(parsed.error_offset, 2, "//") == 0 ||
                           text.compare(parsed.error_offset, 2, "/*") == 0;
      add("K003", Severity::kError, parsed.error_offset, "",
          "JSON syntax error: " + parsed.error +
              (comment ? "; JSON has no comments: remove the comment" : ""),
          unreadable);
    } else {
      std::size_t offset = 0;
      if (error_position != nullptr && error_position >= text.c_str() &&
          error_position <= text.c_str() + text.size()) {
        offset = static_cast<std::size_t>(error_position - text.c_str());
      }
      add("K003", Severity::kError, offset, "", "JSON syntax error: the text cannot be read here",
          unreadable);
    }
    return positioned();
  }
  if (!parsed.ok) {
    // The library reads it; without positions nothing more can be said.
    return positioned();
  }
  if (parsed.trailing != std::string::npos) {
    add("K005", Severity::kWarning, parsed.trailing, "",
        "content after the end of the document's JSON value",
        "the library's parser stops after the first value and ignores everything from here on");
  }
  check_structure(parsed.root);
  check_control_characters(parsed.root, "", text);
  return positioned();
}

// Control characters in the string values: the library passes them on (a
// NUL ends its texts), and raw ones between the quotes are no JSON for other
// tools. Member names are left to K101: no known name holds one.
void Checker::check_control_characters(const Node& node, const std::string& pointer,
                                       const std::string& text) {
  for (std::size_t i = 0; i < node.children.size(); ++i) {
    const Node& child = node.children[i];
    check_control_characters(
        child,
        node.kind == Kind::kObject ? child_pointer(pointer, child.key) : child_pointer(pointer, i),
        text);
  }
  if (node.kind != Kind::kString || node.offset >= text.size() || text[node.offset] != '"') {
    return;
  }
  bool raw = false;
  bool nul = false;
  bool control = false;
  std::size_t end = node.offset + 1;
  while (end < text.size() && text[end] != '"') {
    const auto c = static_cast<unsigned char>(text[end]);
    if (c == '\\' && end + 1 < text.size()) {
      const char escape = text[end + 1];
      if (escape == 'u' && end + 5 < text.size()) {
        const unsigned code =
            static_cast<unsigned>(std::strtoul(text.substr(end + 2, 4).c_str(), nullptr, 16));
        nul = nul || code == 0;
        control = control || code < 0x20 || code == 0x7F;
        end += 6;
        continue;
      }
      control = control || std::string("bfnrt").find(escape) != std::string::npos;
      end += 2;
      continue;
    }
    if (c < 0x20) {
      raw = true;
      control = true;
    }
    control = control || c == 0x7F;
    ++end;
  }
  if (!control) {
    return;
  }
  const bool sent = same_ignoring_case(node.key, KEY_VALUE);
  std::vector<std::string> effects;
  if (nul) {
    effects.push_back("the text is cut at the NUL: " + std::string(sent ? "sent" : "read") +
                      " as " + quoted(node.text));
  } else {
    effects.push_back(sent ? "the device gets the control characters as they are"
                           : "the library keeps the control characters in the text");
  }
  if (raw) {
    effects.push_back(
        "the library reads raw control characters between the quotes, but other JSON tools and "
        "the document schema reject the document");
  }
  std::string joined;
  for (const std::string& effect : effects) {
    joined += (joined.empty() ? "" : "; ") + effect;
  }
  add("K006", Severity::kWarning, node.offset, pointer,
      (nul ? "the text holds a NUL character after " + quoted(node.text)
           : "the text " + quoted(node.text) + " holds control characters") +
          (raw ? ", written raw between the quotes: write them as JSON escapes" : ""),
      joined);
}

// Empty documents, NUL bytes and invalid UTF-8. Cuts `text` at a NUL byte,
// since the library hands the document to its parser as a C string. False
// when there is nothing left to parse.
bool Checker::check_text(std::string& text) {
  if (text.empty()) {
    add("K001", Severity::kError, 0, "", "the document is empty",
        "nothing is configured and no firmware is decided");
    return false;
  }
  const std::size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    add("K002", Severity::kError, nul, "", "the document is not text: it contains a NUL byte",
        "the library reads the document only up to this byte");
    text.resize(nul);
  }
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = lead < 0x80                      ? 1
                         : (lead >= 0xC2 && lead <= 0xDF) ? 2
                         : (lead >= 0xE0 && lead <= 0xEF) ? 3
                         : (lead >= 0xF0 && lead <= 0xF4) ? 4
                                                          : 0;
    bool valid = length > 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; ++k) {
      valid = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    }
    if (valid && length >= 3) {
      const auto second = static_cast<unsigned char>(text[i + 1]);
      valid = !(lead == 0xE0 && second < 0xA0) && !(lead == 0xED && second >= 0xA0) &&
              !(lead == 0xF0 && second < 0x90) && !(lead == 0xF4 && second >= 0x90);
    }
    if (!valid) {
      // The document is taken: its texts may change, so a warning.
      add("K002", Severity::kWarning, i, "", "the document is not text: invalid UTF-8 byte",
          "the library passes the bytes on unchanged; texts from here may reach the device "
          "garbled");
      break;
    }
    i += length;
  }
  std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  while (start < text.size() && static_cast<unsigned char>(text[start]) <= 32) {
    ++start;
  }
  if (start == text.size() && nul == std::string::npos) {
    add("K001", Severity::kError, 0, "", "the document is empty (only white space)",
        "nothing is configured and no firmware is decided");
    return false;
  }
  return true;
}

void Checker::check_structure(const Node& root) {
  const std::string& template_key = KEY_TEMPLATE_CONFIGURATION;
  // The library's template search: the node itself, then its first child
  // (an array entered at its first element), and so on.
  const Node* holder = &root;
  std::string holder_pointer;
  while (holder != nullptr && member(holder, template_key) == nullptr) {
    const Node* first = first_child(holder);
    std::string pointer = holder_pointer;
    if (first != nullptr) {
      pointer = holder->kind == Kind::kObject ? child_pointer(pointer, first->key)
                                              : child_pointer(pointer, std::size_t{0});
    }
    if (first != nullptr && first->kind == Kind::kArray) {
      const Node* element = first_child(first);
      pointer = child_pointer(pointer, std::size_t{0});
      first = element;
    }
    holder = first;
    holder_pointer = pointer;
  }

  if (root.kind != Kind::kObject) {
    const std::string what =
        std::string("the document's root is ") + json::kind_name(root.kind) + ", not an object";
    if (holder == nullptr) {
      add("K004", Severity::kWarning, root.offset, "", what,
          "the library looks for the template in its first element only, and finds none");
    } else {
      add("K004", Severity::kWarning, root.offset, "", what,
          "the library looks into the first element and takes the template it finds at " +
              holder_pointer);
    }
  }
  if (holder == nullptr) {
    add("K105", Severity::kError, root.offset, "",
        "no " + quoted(template_key) +
            " member: the library looks for it in the root object and, from there, only in the "
            "first member of each object",
        "nothing is configured and no firmware is decided");
    return;
  }

  check_member_names(*holder, Place::kRoot, holder_pointer, "the document's root");
  const Node* found = member(holder, template_key);
  const Node& first = holder->children.front();
  const std::string found_pointer = child_pointer(holder_pointer, found->key);
  if (found != &first) {
    template_read_ = false;
    std::string effect;
    if (first.kind == Kind::kObject) {
      effect =
          "the library reads the first member " + quoted(first.key) + " as the template instead";
    } else {
      effect = "the library reads the first member " + quoted(first.key) +
               " instead: no settings are stored and no firmware is decided";
    }
    add("K104", Severity::kError, found->key_offset, found_pointer,
        quoted(found->key) + " is not the first member of its object: " + quoted(first.key) +
            " comes first",
        effect);
  }
  if (found->kind != Kind::kObject) {
    add("K104", Severity::kError, found->offset, found_pointer,
        quoted(found->key) + " is " + json::kind_name(found->kind) + ", not an object",
        "the library finds no settings and no firmware in it: nothing is stored and no "
        "firmware is decided");
    return;
  }
  check_template(*found, found_pointer);
}

void Checker::check_member_names(const Node& node, Place place, const std::string& pointer,
                                 const std::string& where) {
  std::vector<const std::string*> known;
  for (const DocumentMember& entry : document_members()) {
    if (entry.place == place) {
      known.push_back(&entry.name);
    }
  }
  std::unordered_map<std::string, const Node*> seen;
  for (const Node& child : node.children) {
    const std::string name = lower(child.key);
    const std::string member_pointer = child_pointer(pointer, child.key);
    const std::string* match = nullptr;
    for (const std::string* candidate : known) {
      if (same_ignoring_case(*candidate, child.key)) {
        match = candidate;
      }
    }
    auto earlier = seen.find(name);
    if (earlier != seen.end()) {
      if (match != nullptr) {
        add("K103", Severity::kWarning, child.key_offset, member_pointer,
            "member " + quoted(child.key) + " appears more than once in " + where,
            "ignored: the library reads only the first " + quoted(*match) + " of the object");
      }
      continue;
    }
    seen.emplace(name, &child);
    if (match != nullptr) {
      if (child.key != *match) {
        add("K102", Severity::kInfo, child.key_offset, member_pointer,
            "member " + quoted(child.key) + " in " + where + " is spelled " + quoted(*match) +
                " in the document format",
            "read as " + quoted(*match) +
                ": the library looks member names up ignoring letter "
                "case");
      }
      continue;
    }
    const std::string* nearest = nullptr;
    std::size_t best = SIZE_MAX;
    for (const std::string* candidate : known) {
      const std::size_t distance = edit_distance(name, lower(*candidate));
      if (distance < best) {
        best = distance;
        nearest = candidate;
      }
    }
    const bool close = nearest != nullptr && best <= std::max<std::size_t>(2, nearest->size() / 3);
    // A member of another place put here: say where it belongs.
    std::string elsewhere;
    for (const DocumentMember& entry : document_members()) {
      if (entry.place != place && same_ignoring_case(entry.name, child.key)) {
        elsewhere = "; " + quoted(entry.name) + " belongs in a " + place_name(entry.place);
        break;
      }
    }
    if (elsewhere.empty() && close) {
      suggested_[{&node, *nearest}] = {pending_.size(), child.key};
    }
    add("K101", Severity::kWarning, child.key_offset, member_pointer,
        "unknown member " + quoted(child.key) + " in " + where +
            (!elsewhere.empty() ? elsewhere
             : close            ? "; did you mean " + quoted(*nearest) + "?"
                                : ""),
        "ignored: the library does not read it" +
            (close && elsewhere.empty() && member(&node, *nearest) == nullptr
                 ? section_loss(*nearest)
                 : std::string()));
  }
}

void Checker::check_template(const Node& node, const std::string& pointer) {
  check_member_names(node, Place::kTemplate, pointer, "the template");
  template_pointer_ = pointer;
  template_node_ = &node;
  for (const CheckedAccessory& accessory : accessories_) {
    settings_groups_.insert(group_for(
        node, accessory.resolved_model.empty() ? accessory.model : accessory.resolved_model));
  }

  if (const Node* time = member(&node, KEY_UPDATED_TIME)) {
    if (time->kind != Kind::kNumber) {
      add("K106", Severity::kWarning, time->offset, child_pointer(pointer, time->key),
          quoted(time->key) + " is " + described(*time) + ", not a number" +
              (time->kind == Kind::kString && all_decimal_digits(time->text) ? ": remove the quotes"
                                                                             : ""),
          "the library reads the time as 0, so configure requests are compared with 0");
    }
  }

  std::map<int, StoredEntry> common;
  if (const Node* settings = member(&node, KEY_COMMON_SETTINGS)) {
    const std::string settings_pointer = child_pointer(pointer, settings->key);
    if (settings->kind == Kind::kArray || settings->kind == Kind::kObject) {
      if (settings->kind == Kind::kObject) {
        add("K106", Severity::kWarning, settings->offset, settings_pointer,
            quoted(settings->key) + " is an object, not an array",
            "the library takes the value of each member as a settings entry");
      }
      if (settings->children.empty()) {
        add("K205", Severity::kWarning, settings->offset, settings_pointer,
            quoted(settings->key) + " is empty", "no common settings are stored");
      }
      for (const StoredEntry& entry :
           check_settings(*settings, settings_pointer, "the common settings", nullptr)) {
        common.emplace(entry.usage_id, entry);
      }
    } else {
      add("K106", Severity::kWarning, settings->offset, settings_pointer,
          quoted(settings->key) + " is " + json::kind_name(settings->kind) + ", not an array",
          "all common settings ignored");
    }
  }

  std::vector<Group> groups;
  if (const Node* list = member(&node, KEY_MODEL_SPECIFIC_SETTINGS)) {
    const std::string list_pointer = child_pointer(pointer, list->key);
    if (list->kind == Kind::kArray || list->kind == Kind::kObject) {
      if (list->kind == Kind::kObject) {
        add("K106", Severity::kError, list->offset, list_pointer,
            quoted(list->key) + " is an object, not an array",
            "the library takes the value of each member as a model group");
      }
      if (list->children.empty()) {
        add("K205", Severity::kError, list->offset, list_pointer, quoted(list->key) + " is empty",
            "no model group: no model settings and no firmware decision for any accessory, and "
            "the library reports the document as failed");
      }
      for (std::size_t i = 0; i < list->children.size(); ++i) {
        const Node& group = list->children[i];
        std::string label = "model group " + std::to_string(i + 1);
        if (const Node* models = member(&group, KEY_MODELS)) {
          for (const Node& model : models->children) {
            if (model.kind == Kind::kString && !model.text.empty()) {
              label = "model group " + quoted(model.text);
              break;
            }
          }
        }
        groups.push_back({&group, i,
                          list->kind == Kind::kObject ? child_pointer(list_pointer, group.key)
                                                      : child_pointer(list_pointer, i),
                          label});
      }
    } else {
      add("K106", Severity::kError, list->offset, list_pointer,
          quoted(list->key) + " is " + json::kind_name(list->kind) + ", not an array",
          "no model group is used: no model settings and no firmware decision for any accessory");
    }
  }
  for (const Group& group : groups) {
    check_group(group, common);
  }
  check_shadowing(groups);
  check_accessories(node, groups);
}

std::vector<StoredEntry> Checker::check_settings(const Node& array, const std::string& pointer,
                                                 const std::string& section,
                                                 const std::map<int, StoredEntry>* common) {
  struct Seen {
    StoredEntry first;
    bool plain = false;
    bool admin = false;
    bool user = false;
    const Node* half = nullptr;
    std::string half_pointer;
    std::string left_over;
  };
  std::vector<StoredEntry> stored;
  std::map<int, Seen> seen;
  // The library's working record: never cleared between the entries of one
  // array, so a "Both" half takes the other field from earlier entries.
  std::string working_value;
  std::string working_user_value;
  const std::string dropped = "entry dropped";

  for (std::size_t i = 0; i < array.children.size(); ++i) {
    const Node& entry = array.children[i];
    const std::string entry_pointer =
        array.kind == Kind::kObject ? child_pointer(pointer, entry.key) : child_pointer(pointer, i);
    const std::string entry_label = "settings entry " + std::to_string(i + 1) + " of " + section;
    if (entry.kind != Kind::kObject) {
      add("K206", Severity::kWarning, entry.offset, entry_pointer,
          entry_label + " is " + described(entry) + ", not an object", dropped);
      continue;
    }
    check_member_names(entry, Place::kSettingsEntry, entry_pointer, entry_label);
    const Node* name = member(&entry, KEY_NAME);
    const Node* usage = member(&entry, KEY_USAGE_ID);
    const Node* value = member(&entry, KEY_VALUE);
    const Node* access = member(&entry, KEY_ACCESS);
    const auto pointer_of = [&](const Node* item) {
      return item != nullptr ? child_pointer(entry_pointer, item->key) : entry_pointer;
    };

    if (name == nullptr || name->kind == Kind::kNull) {
      if (name == nullptr) {
        add_missing("K206", Severity::kWarning, entry, KEY_NAME, entry.offset, entry_pointer,
                    entry_label + " has no " + quoted(KEY_NAME), dropped);
      } else {
        add("K206", Severity::kWarning, name->offset, pointer_of(name),
            entry_label + " has no " + quoted(KEY_NAME), dropped);
      }
      continue;
    }
    if (name->kind != Kind::kString) {
      add("K206", Severity::kWarning, name->offset, pointer_of(name),
          quoted(name->key) + " of " + entry_label + " is " + described(*name) + ", not a string",
          dropped + ": a name that is not text counts as missing");
      continue;
    }
    if (name->text.empty()) {
      add("K206", Severity::kWarning, name->offset, pointer_of(name),
          quoted(name->key) + " of " + entry_label + " is empty", dropped);
      continue;
    }
    const std::string setting = "setting " + quoted(name->text) + " in " + section;
    if (usage == nullptr || usage->kind == Kind::kNull) {
      if (usage == nullptr) {
        add_missing("K206", Severity::kWarning, entry, KEY_USAGE_ID, entry.offset, entry_pointer,
                    setting + " has no " + quoted(KEY_USAGE_ID), dropped);
      } else {
        add("K206", Severity::kWarning, usage->offset, pointer_of(usage),
            setting + " has no " + quoted(KEY_USAGE_ID), dropped);
      }
      continue;
    }
    if (value == nullptr || value->kind == Kind::kNull) {
      if (value == nullptr) {
        add_missing("K206", Severity::kWarning, entry, KEY_VALUE, entry.offset, entry_pointer,
                    setting + " has no " + quoted(KEY_VALUE), dropped);
      } else {
        add("K206", Severity::kWarning, value->offset, pointer_of(value),
            setting + " has no " + quoted(KEY_VALUE), dropped);
      }
      continue;
    }
    if (access == nullptr || access->kind == Kind::kNull) {
      if (access == nullptr) {
        add_missing("K206", Severity::kWarning, entry, KEY_ACCESS, entry.offset, entry_pointer,
                    setting + " has no " + quoted(KEY_ACCESS), dropped);
      } else {
        add("K206", Severity::kWarning, access->offset, pointer_of(access),
            setting + " has no " + quoted(KEY_ACCESS), dropped);
      }
      continue;
    }
    if (access->kind != Kind::kString) {
      add("K206", Severity::kWarning, access->offset, pointer_of(access),
          quoted(access->key) + " of " + setting + " is " + described(*access) + ", not a string",
          dropped);
      continue;
    }
    if (access->text.empty()) {
      add("K206", Severity::kWarning, access->offset, pointer_of(access),
          quoted(access->key) + " of " + setting + " is empty", dropped);
      continue;
    }

    int usage_id = 0;
    if (usage->kind == Kind::kNumber) {
      usage_id = int_value(usage->number);
      if (static_cast<double>(usage_id) != usage->number) {
        add("K106", Severity::kWarning, usage->offset, pointer_of(usage),
            "usage id " + usage->text + " of " + setting +
                " is not a whole number in the int range",
            "stored under usage id " + std::to_string(usage_id));
      }
    } else if (usage->kind == Kind::kString) {
      if (!all_decimal_digits(usage->text)) {
        add("K206", Severity::kWarning, usage->offset, pointer_of(usage),
            "usage id " + quoted(usage->text) + " of " + setting +
                " is not written with the digits 0 to 9 only",
            dropped);
        continue;
      }
      const long parsed = std::strtol(usage->text.c_str(), nullptr, 10);
      usage_id = parsed > INT_MAX ? INT_MAX : static_cast<int>(parsed);
    } else {
      add("K206", Severity::kWarning, usage->offset, pointer_of(usage),
          quoted(usage->key) + " of " + setting + " is " + json::kind_name(usage->kind) +
              ", not a number or a string of digits",
          dropped);
      continue;
    }

    std::string text;
    if (value->kind == Kind::kNumber) {
      text = std::to_string(int_value(value->number));
      if (static_cast<double>(int_value(value->number)) != value->number) {
        add("K106", Severity::kWarning, value->offset, pointer_of(value),
            "value " + value->text + " of " + setting + " is not a whole number in the int range",
            "sent as " + quoted(text));
      }
    } else if (value->kind == Kind::kString) {
      text = value->text;
    } else {
      add("K206", Severity::kWarning, value->offset, pointer_of(value),
          quoted(value->key) + " of " + setting + " is " + json::kind_name(value->kind) +
              ", not a number or a string",
          dropped);
      continue;
    }

    const bool both = same_ignoring_case(access->text, ACCESS_BOTH);
    const std::string* spelled = nullptr;
    for (const std::string* known : {&ACCESS_ADMIN, &ACCESS_USER, &ACCESS_BOTH}) {
      if (same_ignoring_case(access->text, *known)) {
        spelled = known;
      }
    }
    if (spelled == nullptr) {
      add("K203", Severity::kWarning, access->offset, pointer_of(access),
          "access " + quoted(access->text) + " of " + setting + " is unknown: write " +
              quoted(ACCESS_ADMIN) + ", " + quoted(ACCESS_USER) + " or " + quoted(ACCESS_BOTH),
          "stored as " + quoted(ACCESS_USER) +
              ", not sent: the device takes User settings only on a reset");
    } else if (access->text != *spelled) {
      add("K203", Severity::kInfo, access->offset, pointer_of(access),
          "access " + quoted(access->text) + " of " + setting + " is read as " + quoted(*spelled),
          "works as " + quoted(*spelled) +
              ": the library compares access values ignoring letter "
              "case");
    }

    const std::string& full = name->text;
    const bool admin_half =
        both && full.size() >= 5 && full.compare(full.size() - 5, 5, "Admin") == 0;
    const bool user_half =
        both && full.size() >= 4 && full.compare(full.size() - 4, 4, "User") == 0;
    if (both && !admin_half && !user_half) {
      add("K204", Severity::kWarning, name->offset, pointer_of(name),
          "name " + quoted(full) + " of a " + quoted(ACCESS_BOTH) + " setting in " + section +
              " ends neither in " + quoted("_Admin") + " nor in " + quoted("_User"),
          dropped);
      continue;
    }
    if (both && full.find('_') == std::string::npos) {
      add("K204", Severity::kWarning, name->offset, pointer_of(name),
          "name " + quoted(full) + " of a " + quoted(ACCESS_BOTH) + " setting in " + section +
              " has no " + quoted("_") + " before " + quoted(admin_half ? "Admin" : "User"),
          dropped + "; only when the configuration URL is " + quoted(DEFAULT_HEADSET_CONFIG_FILE) +
              " is it stored as a plain " + quoted(ACCESS_USER) + " setting");
      continue;
    }

    const StoredEntry current{
        usage_id,      full,
        text,          entry.offset,
        entry_pointer, admin_half ? "administrator value" : user_half ? "user value" : "value"};
    auto previous = seen.find(usage_id);
    const bool in_common = common != nullptr && common->count(usage_id) > 0;
    if (previous == seen.end()) {
      Seen record;
      record.first = current;
      record.plain = !both;
      record.admin = admin_half;
      record.user = user_half;
      if (both) {
        record.half = name;
        record.half_pointer = pointer_of(name);
        if (!in_common) {
          record.left_over = admin_half ? working_user_value : working_value;
        }
      }
      seen.emplace(usage_id, record);
      stored.push_back(current);
      if (!both) {
        working_value = text;
      } else if (!in_common) {
        (admin_half ? working_value : working_user_value) = text;
      }
      continue;
    }
    Seen& record = previous->second;
    const bool repeated =
        record.plain || !both || (admin_half && record.admin) || (user_half && record.user);
    if (repeated) {
      std::string effect;
      if (!both) {
        effect = "this entry replaces the earlier one: its value " + quoted(text) + " is kept";
      } else if (record.plain) {
        effect = "the earlier entry keeps its key and access; only its " +
                 std::string(admin_half ? "value" : "user value") + " becomes " + quoted(text);
      } else {
        effect = std::string("the later ") + (admin_half ? "administrator" : "user") + " value " +
                 quoted(text) + " wins";
      }
      add("K201", Severity::kWarning, entry.offset, entry_pointer,
          "usage id " + std::to_string(usage_id) + " appears again in " + section + " (" +
              quoted(full) + "; first " + quoted(record.first.name) + ")",
          effect);
    }
    if (!both) {
      record.plain = true;
      working_value = text;
      stored.push_back(current);
    } else {
      record.admin = record.admin || admin_half;
      record.user = record.user || user_half;
    }
  }

  for (const auto& item : seen) {
    const Seen& record = item.second;
    // A half that completes an entry of the common settings is no mistake.
    if (record.plain || (record.admin && record.user) || record.half == nullptr ||
        (common != nullptr && common->count(item.first) > 0)) {
      continue;
    }
    const bool has_admin = record.admin;
    const std::string missing = has_admin ? "_User" : "_Admin";
    std::string effect;
    const std::string left_over =
        record.left_over.empty()
            ? "is empty"
            : "is " + quoted(record.left_over) + ", left over from an earlier entry of the array";
    if (has_admin) {
      effect = "sent; its user value (used on a reset) " + left_over;
    } else {
      effect = "the administrator value the accessory receives " + left_over;
    }
    // The other half under another usage id.
    const std::string& own = record.first.name;
    const std::string partner =
        own.substr(0, own.size() - (has_admin ? 5 : 4)) + (has_admin ? "User" : "Admin");
    std::string elsewhere;
    for (const auto& other : seen) {
      if (other.first != item.first && !other.second.plain && other.second.half != nullptr &&
          other.second.first.name == partner) {
        elsewhere = "; " + quoted(partner) + " is under usage id " + std::to_string(other.first) +
                    ": the two halves need the same usage id";
        break;
      }
    }
    std::string message = quoted(ACCESS_BOTH);
    message += " setting " + quoted(record.first.name);
    message += " (usage id " + std::to_string(item.first) + ") in " + section;
    message += " has no " + quoted(missing) + " half" + elsewhere;
    add("K204", Severity::kWarning, record.half->offset, record.half_pointer, message, effect);
  }

  if (common != nullptr) {
    for (const StoredEntry& entry : stored) {
      auto shared = common->find(entry.usage_id);
      if (shared == common->end()) {
        continue;
      }
      add("K202", Severity::kInfo, entry.offset, entry.pointer,
          "usage id " + std::to_string(entry.usage_id) + " (" + quoted(entry.name) +
              ") is set both in the common settings (" + quoted(shared->second.name) + ") and in " +
              section,
          "accessories that take this group get the " + entry.field + " " + quoted(entry.value) +
              " from it" +
              (entry.field == "value" && shared->second.field == "value"
                   ? "; all others keep the common value " + quoted(shared->second.value)
                   : "; all others keep the common one"));
    }
  }
  return stored;
}

void Checker::check_group(const Group& group, const std::map<int, StoredEntry>& common) {
  const Node& node = *group.node;
  if (node.kind != Kind::kObject) {
    add("K106", Severity::kError, node.offset, group.pointer,
        group.label + " is " + described(node) + ", not an object", "the group is never matched");
    return;
  }
  check_member_names(node, Place::kModelGroup, group.pointer, group.label);
  const Node* models = member(&node, KEY_MODELS);
  if (models == nullptr) {
    add_missing("K305", Severity::kError, node, KEY_MODELS, node.offset, group.pointer,
                group.label + " has no " + quoted(KEY_MODELS), "the group matches no accessory");
  } else {
    const std::string models_pointer = child_pointer(group.pointer, models->key);
    if (models->kind == Kind::kObject) {
      add("K106", Severity::kError, models->offset, models_pointer,
          quoted(models->key) + " of " + group.label + " is an object, not an array",
          "the library takes the value of each member as a model name");
    } else if (models->kind != Kind::kArray) {
      add("K106", Severity::kError, models->offset, models_pointer,
          quoted(models->key) + " of " + group.label + " is " + described(*models) +
              ", not an array",
          "the group matches no accessory");
    } else if (models->children.empty()) {
      add("K205", Severity::kWarning, models->offset, models_pointer,
          quoted(models->key) + " of " + group.label + " is empty",
          "the group matches no accessory");
    }
    for (std::size_t j = 0; j < models->children.size(); ++j) {
      const Node& model = models->children[j];
      const std::string model_pointer = models->kind == Kind::kObject
                                            ? child_pointer(models_pointer, model.key)
                                            : child_pointer(models_pointer, j);
      if (model.kind != Kind::kString) {
        add("K106", Severity::kWarning, model.offset, model_pointer,
            "model name " + std::to_string(j + 1) + " of " + group.label + " is " +
                described(model) + ", not a string",
            "skipped: it matches no accessory");
      } else if (model.text.empty()) {
        add("K305", Severity::kWarning, model.offset, model_pointer,
            "model name " + std::to_string(j + 1) + " of " + group.label + " is empty",
            "skipped: an empty model name matches no accessory");
      }
    }
  }

  const Node* firmware = member(&node, KEY_MODEL_FIRMWARE);
  const std::string nothing =
      "accessories of this group get no model settings and no firmware decision, and the "
      "library reports the document as failed for them";
  if (firmware == nullptr) {
    add_missing("K305", Severity::kError, node, KEY_MODEL_FIRMWARE, node.offset, group.pointer,
                group.label + " has no " + quoted(KEY_MODEL_FIRMWARE), nothing);
    return;
  }
  const std::string firmware_pointer = child_pointer(group.pointer, firmware->key);
  if (firmware->kind != Kind::kArray) {
    add("K106", Severity::kError, firmware->offset, firmware_pointer,
        quoted(firmware->key) + " of " + group.label + " is " + json::kind_name(firmware->kind) +
            ", not an array",
        firmware->kind == Kind::kObject && !firmware->children.empty()
            ? "the library reads the object's first member " +
                  quoted(firmware->children.front().key) + " as the firmware entry: " + nothing
            : nothing);
    return;
  }
  if (firmware->children.empty()) {
    add("K205", Severity::kError, firmware->offset, firmware_pointer,
        quoted(firmware->key) + " of " + group.label + " is empty", nothing);
    return;
  }
  const Node& entry = firmware->children.front();
  const std::string entry_pointer = child_pointer(firmware_pointer, std::size_t{0});
  const std::string entry_label = "the firmware entry of " + group.label;
  if (entry.kind != Kind::kObject) {
    add("K106", Severity::kError, entry.offset, entry_pointer,
        entry_label + " is " + described(entry) + ", not an object", nothing);
    return;
  }
  check_member_names(entry, Place::kFirmwareEntry, entry_pointer, entry_label);

  const Node* name = member(&entry, KEY_FIRMWARE_NAME);
  bool latest = false;
  if (name == nullptr) {
    add_missing(
        "K305", Severity::kError, entry, KEY_FIRMWARE_NAME, entry.offset, entry_pointer,
        entry_label + " has no " + quoted(KEY_FIRMWARE_NAME),
        "the firmware step fails: no firmware is decided and the library reports the document "
        "as failed for accessories of this group");
  } else if (name->kind != Kind::kString) {
    add("K106", Severity::kWarning, name->offset, child_pointer(entry_pointer, name->key),
        quoted(name->key) + " of " + entry_label + " is " + described(*name) + ", not a string",
        "read as an empty firmware name: an upgrade is requested without a name");
  } else {
    latest = same_ignoring_case(name->text, FIRMWARE_LATEST);
  }

  const Node* version = member(&entry, KEY_FIRMWARE_VERSION);
  if (name != nullptr && !latest) {
    if (version == nullptr) {
      add_missing("K305", Severity::kWarning, entry, KEY_FIRMWARE_VERSION, entry.offset,
                  entry_pointer, entry_label + " has no " + quoted(KEY_FIRMWARE_VERSION),
                  "read as an empty version: no firmware is requested");
    } else if (version->kind != Kind::kString) {
      add("K106", Severity::kWarning, version->offset, child_pointer(entry_pointer, version->key),
          quoted(version->key) + " of " + entry_label + " is " + described(*version) +
              ", not a string",
          "read as an empty version: no firmware is requested");
    } else if (version->text.empty()) {
      add("K301", Severity::kWarning, version->offset, child_pointer(entry_pointer, version->key),
          "firmware version of " + group.label + " is empty", "no firmware is requested");
    } else if (!same_ignoring_case(version->text, FIRMWARE_CURRENT) &&
               unreadable_version(version->text)) {
      const std::string suggestion = suggested_version(version->text);
      // The accessories of this group that already run the suggested version
      // written with other separators: the library compares names as text.
      std::string same;
      for (const CheckedAccessory& accessory : accessories_) {
        const std::string model =
            accessory.resolved_model.empty() ? accessory.model : accessory.resolved_model;
        const bool dongle = !accessory.dongle_model.empty();
        const std::string running =
            dongle ? accessory.dongle_firmware_version : accessory.firmware_version;
        if (!suggestion.empty() && running != suggestion && dash_form(running) == suggestion &&
            group_for(*template_node_, dongle ? accessory.dongle_model : model) ==
                static_cast<int>(group.index)) {
          same += (same.empty() ? "accessory " : ", accessory ") + quoted(accessory.id) + " (" +
                  quoted(running) + ")";
        }
      }
      std::string advice;
      if (suggestion.empty()) {
        advice = "; write the version as the accessory reports it: numbers joined by \"-\"";
      } else if (same.empty()) {
        advice = "; write " + quoted(suggestion);
      } else {
        advice = "; but " + quoted(suggestion) + " is what " + same +
                 " runs, with other separators: for " + quoted(suggestion) +
                 " the library requests an upgrade to " + quoted(suggestion) +
                 " anyway (it compares versions as text, so the same firmware is installed "
                 "again); write " +
                 quoted(FIRMWARE_CURRENT) + " to keep the running firmware";
      }
      add("K301", Severity::kWarning, version->offset, child_pointer(entry_pointer, version->key),
          "firmware version " + quoted(version->text) + " of " + group.label +
              " cannot be read: only letters, digits and \"-\" are allowed" + advice,
          "no firmware is requested: the library treats the version as needing no upgrade");
    }
  }

  const Node* params = member(&entry, KEY_FIRMWARE_PARAMS);
  // Without "firmwareParams" the device is never told to take the common
  // settings; a group that only decides a dongle's firmware needs none.
  const bool gives_settings =
      accessories_.empty() || settings_groups_.count(static_cast<int>(group.index)) > 0;
  if (params == nullptr && !common.empty() && gives_settings) {
    add_missing(
        "K305", Severity::kWarning, entry, KEY_FIRMWARE_PARAMS, entry.offset, entry_pointer,
        entry_label + " has no " + quoted(KEY_FIRMWARE_PARAMS),
        "the device is not told to take any settings: for accessories of this group the common "
        "settings are stored but not sent");
  }
  if (params != nullptr) {
    const std::string params_pointer = child_pointer(entry_pointer, params->key);
    const std::string section = "the model settings of " + group.label;
    if (params->kind != Kind::kArray && params->kind != Kind::kObject) {
      add("K106", Severity::kWarning, params->offset, params_pointer,
          quoted(params->key) + " of " + entry_label + " is " + json::kind_name(params->kind) +
              ", not an array",
          "no model settings are stored for this group");
      return;
    }
    if (params->kind == Kind::kObject) {
      add("K106", Severity::kWarning, params->offset, params_pointer,
          quoted(params->key) + " of " + entry_label + " is an object, not an array",
          "the library takes the value of each member as a settings entry");
    }
    if (params->children.empty()) {
      add("K205", Severity::kWarning, params->offset, params_pointer,
          quoted(params->key) + " of " + entry_label + " is empty",
          "no model settings are stored for this group, and the device is not told to take "
          "any settings: the common settings are stored but not sent");
    }
    check_settings(*params, params_pointer, section, &common);
  }
}

// A model name of a later group that contains a model name of an earlier
// group: every accessory the later name matches is taken by the earlier
// group. Earlier names are kept in a map, and each later name is looked up
// by its substrings, so the work grows with the names' lengths, not with the
// square of the number of groups.
void Checker::check_shadowing(const std::vector<Group>& groups) {
  std::unordered_map<std::string, std::size_t> earlier;  // name -> first group
  std::set<std::size_t> lengths;                         // lengths of those names
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const Node* models = member(groups[g].node, KEY_MODELS);
    if (models == nullptr || (models->kind != Kind::kArray && models->kind != Kind::kObject)) {
      continue;
    }
    const std::string models_pointer = child_pointer(groups[g].pointer, models->key);
    std::vector<const Node*> names;
    bool all_shadowed = true;
    for (std::size_t j = 0; j < models->children.size(); ++j) {
      const Node& model = models->children[j];
      if (model.kind != Kind::kString || model.text.empty()) {
        continue;
      }
      names.push_back(&model);
      const std::string& text = model.text;
      std::size_t best = SIZE_MAX;
      std::string best_name;
      for (std::size_t length : lengths) {
        for (std::size_t start = 0; start + length <= text.size(); ++start) {
          auto found = earlier.find(text.substr(start, length));
          if (found != earlier.end() && found->second < g && found->second < best) {
            best = found->second;
            best_name = found->first;
          }
        }
      }
      if (best == SIZE_MAX) {
        all_shadowed = false;
        continue;
      }
      add("K303", Severity::kWarning, model.offset,
          models->kind == Kind::kObject ? child_pointer(models_pointer, model.key)
                                        : child_pointer(models_pointer, j),
          "model name " + quoted(text) + " of " + groups[g].label + " is shadowed by " +
              quoted(best_name) + " of the earlier " + groups[best].label +
              ", which is part of it: list the more specific group first",
          "accessories whose model contains " + quoted(text) + " take the earlier " +
              groups[best].label);
    }
    if (!names.empty() && all_shadowed) {
      shadowed_groups_.insert(g);
    }
    for (const Node* model : names) {
      earlier.emplace(model->text, g);
      lengths.insert(model->text.size());
    }
  }
}

// The index of the group the library picks for `model`, or -1.
int Checker::group_for(const Node& template_node, const std::string& model) const {
  const Node* list = member(&template_node, KEY_MODEL_SPECIFIC_SETTINGS);
  if (list == nullptr || (list->kind != Kind::kArray && list->kind != Kind::kObject)) {
    return -1;
  }
  for (std::size_t g = 0; g < list->children.size(); ++g) {
    const Node* models = member(&list->children[g], KEY_MODELS);
    if (models == nullptr || (models->kind != Kind::kArray && models->kind != Kind::kObject)) {
      continue;
    }
    for (const Node& name : models->children) {
      if (name.kind == Kind::kString && !name.text.empty() &&
          model.find(name.text) != std::string::npos) {
        return static_cast<int>(g);
      }
    }
  }
  return -1;
}

void Checker::check_accessories(const Node& template_node, const std::vector<Group>& groups) {
  if (accessories_.empty() || !template_read_) {
    return;
  }
  // An accessory whose type has no configuration object in the library is
  // never configured: no group could give it anything.
  const auto never_configured = [](const CheckedAccessory& accessory) {
    return "none: the library has no configuration object for accessory type " +
           std::to_string(accessory.type) + " and never configures it, whatever the document says";
  };
  const Node* list = member(&template_node, KEY_MODEL_SPECIFIC_SETTINGS);
  const std::size_t missing_at = list != nullptr ? list->key_offset : template_node.offset;
  const std::string missing_pointer =
      list != nullptr ? child_pointer(template_pointer_, list->key) : template_pointer_;
  if (list == nullptr) {
    // One problem, whatever the number of accessories.
    const auto configurable = [](const CheckedAccessory& accessory) {
      return accessory.configurable;
    };
    const std::string failed =
        "their settings are stored but never sent to the device, no firmware is decided, and "
        "the library reports the document as failed for every accessory";
    add("K306", Severity::kError, missing_at, missing_pointer,
        "the template has no " + quoted(KEY_MODEL_SPECIFIC_SETTINGS) +
            ": no model group names any of the given accessories",
        std::all_of(accessories_.begin(), accessories_.end(), configurable) ? failed
        : std::any_of(accessories_.begin(), accessories_.end(), configurable)
            ? failed + " it configures"
            : "none: the library has no configuration object for their types and never "
              "configures them, whatever the document says");
    return;
  }
  for (const CheckedAccessory& accessory : accessories_) {
    const std::string model =
        accessory.resolved_model.empty() ? accessory.model : accessory.resolved_model;
    const bool dongle = !accessory.dongle_model.empty();
    if (group_for(template_node, model) < 0) {
      add("K306", Severity::kError, missing_at, missing_pointer,
          "no model group names the model " + quoted(model) + " of accessory " +
              quoted(accessory.id),
          !accessory.configurable ? never_configured(accessory)
          : dongle                ? "its settings are stored but never sent to the device"
                                  : "its settings are stored but never sent to the device, no "
                                    "firmware is decided, and the library reports the document "
                                    "as failed for it");
    }
    if (dongle && group_for(template_node, accessory.dongle_model) < 0) {
      add("K306", Severity::kError, missing_at, missing_pointer,
          "no model group names the dongle " + quoted(accessory.dongle_model) + " of accessory " +
              quoted(accessory.id),
          !accessory.configurable
              ? never_configured(accessory)
              : "no firmware is decided, and the library reports the document as failed for it");
    }
  }
  if (groups.empty()) {
    return;
  }
  std::set<int> used;
  for (const CheckedAccessory& accessory : accessories_) {
    const std::string model =
        accessory.resolved_model.empty() ? accessory.model : accessory.resolved_model;
    used.insert(group_for(template_node, model));
    const bool dongle = !accessory.dongle_model.empty();
    const std::string firmware_model = dongle ? accessory.dongle_model : model;
    const std::string running =
        dongle ? accessory.dongle_firmware_version : accessory.firmware_version;
    const int index = group_for(template_node, firmware_model);
    if (dongle) {
      used.insert(index);
    }
    if (index < 0) {
      continue;
    }
    const Group& group = groups[static_cast<std::size_t>(index)];
    const Node* firmware = first_child(member(group.node, KEY_MODEL_FIRMWARE));
    const Node* name = member(firmware, KEY_FIRMWARE_NAME);
    const Node* version = member(firmware, KEY_FIRMWARE_VERSION);
    if (name == nullptr || version == nullptr || version->kind != Kind::kString ||
        (name->kind == Kind::kString && same_ignoring_case(name->text, FIRMWARE_LATEST)) ||
        same_ignoring_case(version->text, FIRMWARE_CURRENT)) {
      continue;
    }
    const std::string candidate = accessory.requested_firmware_version.empty()
                                      ? version->text
                                      : accessory.requested_firmware_version;
    if (candidate.empty() || running.empty() || candidate == running ||
        unreadable_version(candidate) || !older_version(candidate, running)) {
      continue;
    }
    add("K304", Severity::kInfo, version->offset,
        child_pointer(
            child_pointer(child_pointer(group.pointer, member(group.node, KEY_MODEL_FIRMWARE)->key),
                          std::size_t{0}),
            version->key),
        "firmware " + quoted(candidate) + " of " + group.label + " is older than the version " +
            quoted(running) + " that " +
            (dongle ? "the dongle " + quoted(firmware_model) + " of " : std::string()) +
            "accessory " + quoted(accessory.id) + " (" + model + ") runs; write " +
            quoted(FIRMWARE_CURRENT) + " to keep the running firmware",
        "downgrade: the library requests it, and the accessory is taken back from " +
            quoted(running) + " to " + quoted(candidate));
  }
  for (std::size_t g = 0; g < groups.size(); ++g) {
    if (used.count(static_cast<int>(g)) > 0 || shadowed_groups_.count(g) > 0 ||
        groups[g].node->kind != Kind::kObject) {
      continue;
    }
    const Node* models = member(groups[g].node, KEY_MODELS);
    if (models == nullptr || models->children.empty()) {
      continue;
    }
    // Which accessory the group would match but an earlier group takes, and
    // which one it would match but for letter case.
    std::string taken;
    std::string other_case;
    for (const CheckedAccessory& accessory : accessories_) {
      const std::string model =
          accessory.resolved_model.empty() ? accessory.model : accessory.resolved_model;
      for (const Node& name : models->children) {
        if (name.kind == Kind::kString && !name.text.empty() &&
            model.find(name.text) != std::string::npos) {
          taken = model;
        } else if (name.kind == Kind::kString && !name.text.empty() && other_case.empty() &&
                   lower(model).find(lower(name.text)) != std::string::npos) {
          other_case = "; " + quoted(name.text) + " differs from the model " + quoted(model) +
                       " of accessory " + quoted(accessory.id) +
                       " only in letter case: the library matches model names case-sensitively";
        }
      }
    }
    add("K302", Severity::kInfo, groups[g].node->offset, groups[g].pointer,
        groups[g].label + " matches none of the given accessories" +
            (taken.empty() ? std::string()
                           : ": " + quoted(taken) + " takes an earlier group that also names it") +
            other_case,
        "the group's settings and firmware are not used by any of them");
  }
}

// Turns byte offsets into lines and columns in one pass over the document.
// Columns count characters (UTF-8 code points: bytes that continue a
// character are not counted), a tab as one; a line ends at "\n", so a "\r" before it
// is the last character of its line. A byte order mark is not counted.
std::vector<Finding> Checker::positioned() {
  std::stable_sort(pending_.begin(), pending_.end(),
                   [](const Pending& a, const Pending& b) { return a.offset < b.offset; });
  std::size_t cursor = document_.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  int line = 1;
  int column = 1;
  std::vector<Finding> findings;
  findings.reserve(pending_.size());
  for (Pending& item : pending_) {
    while (cursor < item.offset && cursor < document_.size()) {
      const auto c = static_cast<unsigned char>(document_[cursor]);
      if (c == '\n') {
        ++line;
        column = 1;
      } else if ((c & 0xC0) != 0x80) {
        ++column;
      }
      ++cursor;
    }
    item.finding.line = line;
    item.finding.column = column;
    findings.push_back(std::move(item.finding));
  }
  return findings;
}

}  // namespace

bool older_firmware_version(const std::string& candidate, const std::string& running) {
  return older_version(candidate, running);
}

std::vector<Finding> check_document(const std::string& document,
                                    const std::vector<CheckedAccessory>& accessories) {
  return Checker(document, accessories).run();
}

}  // namespace korrin_check
