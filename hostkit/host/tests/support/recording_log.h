// A log sink that keeps every record, for the host kit's tests.
#ifndef KORRIN_HOSTKIT_TESTS_RECORDING_LOG_H
#define KORRIN_HOSTKIT_TESTS_RECORDING_LOG_H

#include <mutex>
#include <string>
#include <vector>

#include "korrin/host_log.h"

namespace kit_test {

class RecordingLog : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    std::lock_guard<std::mutex> guard(mutex_);
    lines_.push_back(std::to_string(static_cast<int>(level)) + " " + text);
  }
  /// "LEVEL TEXT" per record, in order.
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> guard(mutex_);
    return lines_;
  }
  /// The lines whose text starts with `prefix`.
  std::vector<std::string> lines_from(const std::string& prefix) {
    std::vector<std::string> found;
    for (const std::string& line : lines()) {
      if (line.compare(2, prefix.size(), prefix) == 0) {
        found.push_back(line);
      }
    }
    return found;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace kit_test

#endif  // KORRIN_HOSTKIT_TESTS_RECORDING_LOG_H
