// The host's task dispatcher: one worker thread and a timer queue that run
// the library's deferred tasks by the task contract.
#ifndef KORRIN_HOST_TASK_DISPATCHER_H
#define KORRIN_HOST_TASK_DISPATCHER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin_host {

/// Counters of what the dispatcher did, for reports and tests.
struct DispatcherStats {
  std::uint64_t accepted = 0;   ///< tasks taken by add_task()
  std::uint64_t ran = 0;        ///< tasks whose function was called
  std::uint64_t deferred = 0;   ///< check_status() answers of 2
  std::uint64_t dropped = 0;    ///< check_status() answers of 3 (or unknown answers)
  std::uint64_t overruns = 0;   ///< tasks that ran longer than their time-out
  std::uint64_t failed = 0;     ///< tasks or checks that threw
  std::uint64_t discarded = 0;  ///< tasks still queued when stop() came, or added after it
};

/// Runs deferred tasks on its own thread.
///
/// add_task() keeps a clone() of the parameters and schedules the first
/// check get_defer_time() seconds later. When a task is due its
/// check_status() is asked on the dispatcher's thread: 1 runs the task
/// function with the context and the clone, 2 schedules the next check
/// after the defer time the parameters have just stored, 3 drops the task.
/// The clone is deleted when the task has run or was dropped. A task that
/// runs longer than get_timeout() is not interrupted (the library offers no
/// way to cancel one) but its overrun is logged as a warning.
///
/// Every wait and time-out is multiplied by the time scale: 0.01 turns the
/// library's 30 to 40 second retry back-off into 0.3 to 0.4 seconds.
class TaskDispatcher : public korrin::TaskDispatcherInterface {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts the worker thread. Records go to `log` (may be null) under the
  /// name "Host::TaskDispatcher".
  explicit TaskDispatcher(korrin::log::HostLogInterface* log, double time_scale = 1.0);
  TaskDispatcher(const TaskDispatcher&) = delete;
  TaskDispatcher& operator=(const TaskDispatcher&) = delete;
  /// Stops the thread (see stop()).
  ~TaskDispatcher() override;

  /// Queues a task; thread-safe, callable from any thread including a task.
  /// After stop() the task is discarded with a warning.
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;

  /// Stops the thread: waits for a task that is running to return, deletes
  /// every queued clone without checking or running it, and joins. No task
  /// runs after stop() has returned. Idempotent. Called from a task (on the
  /// dispatcher's own thread) it only asks the thread to stop.
  void stop();

  /// While paused no task is checked or run; tasks keep being queued. A host
  /// pauses while it connects several accessories so that their configure
  /// requests join one fetch.
  void pause();
  /// Lets due tasks run again.
  void resume();

  /// Whether no task is queued or running.
  bool idle() const;
  /// Waits until idle() or `timeout`; returns idle().
  bool wait_idle(std::chrono::milliseconds timeout) const;
  /// Number of queued tasks (not counting one that is running).
  std::size_t queued() const;
  DispatcherStats stats() const;
  double time_scale() const { return time_scale_; }
  /// The real wait for `seconds` of task time.
  Clock::duration scaled(double seconds) const;

 private:
  struct Entry {
    TaskFunction function = nullptr;
    void* context = nullptr;
    std::unique_ptr<korrin::TaskParametersInterface> params;
  };
  using Key = std::pair<Clock::time_point, std::uint64_t>;

  void run();
  void handle_due(Entry& entry, bool& reschedule, Clock::time_point& next_due);
  void execute(Entry& entry);

  const double time_scale_;
  korrin::log::Logger* logger_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  mutable std::condition_variable idle_changed_;
  std::map<Key, Entry> queue_;
  std::uint64_t sequence_ = 0;
  bool running_task_ = false;
  bool stopping_ = false;
  bool paused_ = false;
  DispatcherStats stats_;
  std::thread thread_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_TASK_DISPATCHER_H
