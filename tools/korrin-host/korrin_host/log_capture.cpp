#include "korrin_host/log_capture.h"

namespace korrin_host {

void LogCapture::write_record(korrin::log::LogLevel level, const std::string& text) {
  try {
    {
      std::lock_guard<std::mutex> guard(mutex_);
      records_.push_back(LogRecord{level, text});
    }
    if (forward_ != nullptr) {
      forward_->write_record(level, text);
    }
  } catch (...) {
    // Losing one record is better than ending the process from a destructor.
  }
}

std::size_t LogCapture::size() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return records_.size();
}

std::vector<LogRecord> LogCapture::records_since(std::size_t mark) const {
  std::lock_guard<std::mutex> guard(mutex_);
  if (mark >= records_.size()) {
    return {};
  }
  return std::vector<LogRecord>(records_.begin() + static_cast<std::ptrdiff_t>(mark),
                                records_.end());
}

}  // namespace korrin_host
