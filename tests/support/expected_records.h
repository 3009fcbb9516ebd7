// Expected log records, written the way the fake host records them: as
// call-log lines ("log.notice(Lib::ConfigManagerImpl: ...)") or as the log
// sink's records (level and text). Every test builds its expected records
// here, so the format lives in one place.
#ifndef KORRIN_TESTS_SUPPORT_EXPECTED_RECORDS_H
#define KORRIN_TESTS_SUPPORT_EXPECTED_RECORDS_H

#include <string>
#include <vector>

#include "korrin/testing/fake_host.h"

namespace korrin_test {

/// The call-log line of a record: "log.LEVEL(TEXT)".
std::string record_line(korrin::log::LogLevel level, const std::string& text);

/// The records of one logger, whose texts all start with `prefix` (its name
/// and ": ", sometimes followed by a function name).
class RecordsOf {
 public:
  explicit RecordsOf(std::string prefix) : prefix_(std::move(prefix)) {}

  /// Call-log lines of a record of this logger.
  std::string critical(const std::string& text) const;
  std::string error(const std::string& text) const;
  std::string warning(const std::string& text) const;
  std::string notice(const std::string& text) const;
  std::string info(const std::string& text) const;
  std::string debug(const std::string& text) const;
  /// The record as the fake log sink keeps it.
  korrin::testing::LogRecord record(korrin::log::LogLevel level, const std::string& text) const;

  /// The call-log lines among `lines` that this logger wrote, in order.
  std::vector<std::string> lines_among(const std::vector<std::string>& lines) const;
  /// The texts among `texts` that this logger wrote, without the prefix.
  std::vector<std::string> texts_among(const std::vector<std::string>& texts) const;

  const std::string& prefix() const { return prefix_; }

 private:
  std::string line(korrin::log::LogLevel level, const std::string& text) const;
  std::string prefix_;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_EXPECTED_RECORDS_H
