// The ordered record of every call a fake host component receives, with an
// optional injected failure of one chosen operation.
#ifndef KORRIN_TESTING_CALL_LOG_H
#define KORRIN_TESTING_CALL_LOG_H

#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace korrin {
namespace testing {

/// Thrown by a fake whose operation was chosen for fault injection.
class InjectedFault : public std::runtime_error {
 public:
  explicit InjectedFault(const std::string& operation)
      : std::runtime_error("injected fault: " + operation) {}
};

/// Every call in arrival order, as "component.operation(arg, arg)" lines.
/// Thread-safe: fakes may be called from the dispatcher and host threads.
class CallLog {
 public:
  /// Appends "operation(args)" (plus " -> result" when given); throws InjectedFault first when
  /// `operation` is armed (the failing call is still recorded, marked "!").
  void record(const std::string& operation, const std::string& args = std::string(),
              const std::string& result = std::string());
  /// Appends a line without fault injection (log records, lock events).
  void note(const std::string& line);

  /// Makes the `nth` (1-based) later call of `operation` throw.
  void arm_fault(const std::string& operation, int nth = 1);
  void disarm_fault();
  /// Number of faults thrown so far.
  int faults_thrown() const;

  std::vector<std::string> all() const;
  /// Lines that start with `prefix` (for example "device.").
  std::vector<std::string> starting_with(const std::string& prefix) const;
  /// Lines that start with none of `prefixes`.
  std::vector<std::string> excluding(const std::vector<std::string>& prefixes) const;
  /// Number of lines that start with `prefix`.
  std::size_t count(const std::string& prefix) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::string armed_operation_;
  int armed_countdown_ = 0;
  int faults_thrown_ = 0;
};

/// Joins the pieces with ", " for a call line.
std::string join_args(const std::vector<std::string>& pieces);

}  // namespace testing
}  // namespace korrin

#endif  // KORRIN_TESTING_CALL_LOG_H
