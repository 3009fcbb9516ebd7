#include "korrin_host/json_input.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <sstream>

namespace korrin_host {

std::pair<int, int> line_and_column(const std::string& text, std::size_t offset) {
  int line = 1;
  int column = 1;
  const std::size_t end = std::min(offset, text.size());
  for (std::size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return {line, column};
}

JsonDocument::JsonDocument(const std::string& text, std::string origin)
    : origin_(std::move(origin)) {
  const char* end = nullptr;
  root_ = cJSON_ParseWithOpts(text.c_str(), &end, 1);
  if (root_ != nullptr) {
    return;
  }
  std::size_t offset = text.size();
  if (end != nullptr && end >= text.c_str() && end <= text.c_str() + text.size()) {
    offset = static_cast<std::size_t>(end - text.c_str());
  }
  const auto position = line_and_column(text, offset);
  std::string near = text.substr(offset, 20);
  const std::size_t newline = near.find('\n');
  if (newline != std::string::npos) {
    near.erase(newline);
  }
  std::string message = origin_ + ":" + std::to_string(position.first) + ":" +
                        std::to_string(position.second) + ": invalid JSON";
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    message += " (the file is empty)";
  } else if (near.empty()) {
    message += " (reached the end of the file)";
  } else {
    message += " near '" + near + "'";
  }
  throw InputError(message);
}

JsonDocument::~JsonDocument() { cJSON_Delete(root_); }

JsonObjectReader::JsonObjectReader(const cJSON* object, std::string where)
    : object_(object), where_(std::move(where)) {
  if (object_ == nullptr || !cJSON_IsObject(object_)) {
    throw InputError(where_ + ": expected a JSON object");
  }
}

std::string JsonObjectReader::describe(const char* key, const std::string& message) const {
  return where_ + ": \"" + key + "\" " + message;
}

void JsonObjectReader::reject_unknown(const std::vector<std::string>& known) const {
  for (const cJSON* item = object_->child; item != nullptr; item = item->next) {
    const std::string name = item->string != nullptr ? item->string : "";
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      throw InputError(describe(name.c_str(), "is not a known member"));
    }
  }
}

const cJSON* JsonObjectReader::member(const char* key) const {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object_, key);
  return item != nullptr && !cJSON_IsNull(item) ? item : nullptr;
}

bool JsonObjectReader::has(const char* key) const { return member(key) != nullptr; }

std::string JsonObjectReader::string(const char* key, const std::string& fallback) const {
  const cJSON* item = member(key);
  if (item == nullptr) {
    return fallback;
  }
  if (!cJSON_IsString(item)) {
    throw InputError(describe(key, "must be a string"));
  }
  return item->valuestring;
}

std::string JsonObjectReader::required_string(const char* key) const {
  if (!has(key)) {
    throw InputError(describe(key, "is missing"));
  }
  std::string value = string(key);
  if (value.empty()) {
    throw InputError(describe(key, "must not be empty"));
  }
  return value;
}

bool JsonObjectReader::boolean(const char* key, bool fallback) const {
  const cJSON* item = member(key);
  if (item == nullptr) {
    return fallback;
  }
  if (!cJSON_IsBool(item)) {
    throw InputError(describe(key, "must be true or false"));
  }
  return cJSON_IsTrue(item) != 0;
}

std::vector<std::string> JsonObjectReader::string_array(const char* key) const {
  std::vector<std::string> values;
  const cJSON* item = member(key);
  if (item == nullptr) {
    return values;
  }
  if (!cJSON_IsArray(item)) {
    throw InputError(describe(key, "must be an array of strings"));
  }
  for (const cJSON* element = item->child; element != nullptr; element = element->next) {
    if (!cJSON_IsString(element)) {
      throw InputError(describe(key, "must be an array of strings"));
    }
    values.emplace_back(element->valuestring);
  }
  return values;
}

}  // namespace korrin_host
