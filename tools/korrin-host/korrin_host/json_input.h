// Parsing the host's JSON inputs with cJSON, with errors that name the
// file and the line and column of the problem.
#ifndef KORRIN_HOST_JSON_INPUT_H
#define KORRIN_HOST_JSON_INPUT_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct cJSON;

namespace korrin_host {

/// An input file that cannot be read or does not hold what it should. The
/// text names the file (and the position or member) and is meant for users.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// 1-based line and column of byte `offset` of `text`.
std::pair<int, int> line_and_column(const std::string& text, std::size_t offset);

/// A parsed JSON text that owns its cJSON tree.
class JsonDocument {
 public:
  /// Parses `text`; `origin` (usually the file name) starts every error
  /// message, e.g. "host.json:3:14: invalid JSON near '}'".
  JsonDocument(const std::string& text, std::string origin);
  JsonDocument(const JsonDocument&) = delete;
  JsonDocument& operator=(const JsonDocument&) = delete;
  ~JsonDocument();

  const cJSON* root() const { return root_; }
  const std::string& origin() const { return origin_; }

 private:
  cJSON* root_ = nullptr;
  std::string origin_;
};

/// Typed access to the members of one JSON object, with error messages that
/// say where the object is ("host.json: accessory 2").
class JsonObjectReader {
 public:
  /// Throws InputError when `object` is not a JSON object.
  JsonObjectReader(const cJSON* object, std::string where);

  /// Throws InputError for a member not in `known` (catches misspellings).
  void reject_unknown(const std::vector<std::string>& known) const;
  /// Whether the member is present (and not JSON null).
  bool has(const char* key) const;
  /// A string member; `fallback` when absent; InputError for another type.
  std::string string(const char* key, const std::string& fallback = std::string()) const;
  /// A string member that must be present and non-empty.
  std::string required_string(const char* key) const;
  /// A boolean member; `fallback` when absent.
  bool boolean(const char* key, bool fallback) const;
  /// An array of strings; empty when absent.
  std::vector<std::string> string_array(const char* key) const;
  /// The raw member (null when absent).
  const cJSON* member(const char* key) const;
  /// "WHERE: \"KEY\" MESSAGE", the form of every error about a member.
  std::string describe(const char* key, const std::string& message) const;
  const std::string& where() const { return where_; }

 private:
  const cJSON* object_;
  std::string where_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_JSON_INPUT_H
