#include "support/expected_records.h"

namespace korrin_test {

std::string record_line(korrin::log::LogLevel level, const std::string& text) {
  return "log." + korrin::testing::level_name(level) + "(" + text + ")";
}

std::string RecordsOf::line(korrin::log::LogLevel level, const std::string& text) const {
  return record_line(level, prefix_ + text);
}

std::string RecordsOf::critical(const std::string& text) const {
  return line(korrin::log::critical, text);
}
std::string RecordsOf::error(const std::string& text) const {
  return line(korrin::log::error, text);
}
std::string RecordsOf::warning(const std::string& text) const {
  return line(korrin::log::warning, text);
}
std::string RecordsOf::notice(const std::string& text) const {
  return line(korrin::log::notice, text);
}
std::string RecordsOf::info(const std::string& text) const { return line(korrin::log::info, text); }
std::string RecordsOf::debug(const std::string& text) const {
  return line(korrin::log::debug, text);
}

korrin::testing::LogRecord RecordsOf::record(korrin::log::LogLevel level,
                                             const std::string& text) const {
  return korrin::testing::LogRecord{level, prefix_ + text};
}

std::vector<std::string> RecordsOf::lines_among(const std::vector<std::string>& lines) const {
  std::vector<std::string> out;
  for (const std::string& candidate : lines) {
    if (candidate.compare(0, 4, "log.") == 0 &&
        candidate.find("(" + prefix_) != std::string::npos) {
      out.push_back(candidate);
    }
  }
  return out;
}

std::vector<std::string> RecordsOf::texts_among(const std::vector<std::string>& texts) const {
  std::vector<std::string> out;
  for (const std::string& text : texts) {
    if (text.compare(0, prefix_.size(), prefix_) == 0) {
      out.push_back(text.substr(prefix_.size()));
    }
  }
  return out;
}

}  // namespace korrin_test
