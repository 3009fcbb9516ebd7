#include "korrin_plan/warnings.h"

#include <cctype>

#include "korrin/error_tags.h"

namespace korrin_plan {

std::string error_tag_of(const std::string& text) {
  // The logger's name ends at the first ": "; the function's name follows.
  const std::size_t name_end = text.find(": ");
  if (name_end == std::string::npos) {
    return std::string();
  }
  std::size_t position = name_end + 2;
  while (position < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[position]);
    if (std::isalnum(c) == 0 && c != '_' && c != ':') {
      break;
    }
    ++position;
  }
  for (const std::string* tag :
       {&ERR_LIB, &ERR_QELM, &ERR_PARSING, &ERR_PLUGIN, &ERR_NETWORK, &ERR_SYSTEM}) {
    if (!tag->empty() && text.compare(position, tag->size(), *tag) == 0) {
      return *tag;
    }
  }
  return std::string();
}

bool is_warning(const LogRecord& record) {
  return static_cast<int>(record.level) <= static_cast<int>(korrin::log::warning) ||
         !error_tag_of(record.text).empty();
}

std::vector<LogRecord> warnings_of(const std::vector<LogRecord>& records) {
  std::vector<LogRecord> warnings;
  for (const LogRecord& record : records) {
    if (is_warning(record)) {
      warnings.push_back(record);
    }
  }
  return warnings;
}

}  // namespace korrin_plan
