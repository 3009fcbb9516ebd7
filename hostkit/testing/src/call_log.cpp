#include "korrin/testing/call_log.h"

namespace korrin {
namespace testing {

void CallLog::record(const std::string& operation, const std::string& args,
                     const std::string& result) {
  bool fail = false;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!armed_operation_.empty() && operation == armed_operation_ && --armed_countdown_ == 0) {
      armed_operation_.clear();
      fail = true;
      ++faults_thrown_;
    }
    lines_.push_back(operation + "(" + args + ")" + (fail ? "!" : "") +
                     (result.empty() ? std::string() : " -> " + result));
  }
  if (fail) {
    throw InjectedFault(operation);
  }
}

void CallLog::note(const std::string& line) {
  std::lock_guard<std::mutex> guard(mutex_);
  lines_.push_back(line);
}

void CallLog::arm_fault(const std::string& operation, int nth) {
  std::lock_guard<std::mutex> guard(mutex_);
  armed_operation_ = operation;
  armed_countdown_ = nth;
}

void CallLog::disarm_fault() {
  std::lock_guard<std::mutex> guard(mutex_);
  armed_operation_.clear();
  armed_countdown_ = 0;
}

int CallLog::faults_thrown() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return faults_thrown_;
}

std::vector<std::string> CallLog::all() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return lines_;
}

std::vector<std::string> CallLog::starting_with(const std::string& prefix) const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::vector<std::string> out;
  for (const auto& line : lines_) {
    if (line.compare(0, prefix.size(), prefix) == 0) {
      out.push_back(line);
    }
  }
  return out;
}

std::vector<std::string> CallLog::excluding(const std::vector<std::string>& prefixes) const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::vector<std::string> out;
  for (const auto& line : lines_) {
    bool excluded = false;
    for (const auto& prefix : prefixes) {
      excluded = excluded || line.compare(0, prefix.size(), prefix) == 0;
    }
    if (!excluded) {
      out.push_back(line);
    }
  }
  return out;
}

std::size_t CallLog::count(const std::string& prefix) const { return starting_with(prefix).size(); }

void CallLog::clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  lines_.clear();
}

std::string join_args(const std::vector<std::string>& pieces) {
  std::string out;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) {
      out += ", ";
    }
    out += pieces[i];
  }
  return out;
}

}  // namespace testing
}  // namespace korrin
