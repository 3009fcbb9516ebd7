// The threaded tests' dispatcher: korrin::host::TaskDispatcher (one worker
// thread that runs queued tasks through the task contract) with a record of
// when each task ran, for tests where host threads and the dispatcher's
// thread are inside the library at the same time.
#ifndef KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H
#define KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "korrin/host/task_dispatcher.h"
#include "korrin/plugins.h"

namespace korrin_test {

/// A span of steady-clock time, for checking that work overlapped.
struct Interval {
  std::chrono::steady_clock::time_point start;
  std::chrono::steady_clock::time_point end;
};

/// True when some interval of `a` overlaps some interval of `b`.
bool any_overlap(const std::vector<Interval>& a, const std::vector<Interval>& b);

class ThreadedDispatcher : public korrin::TaskDispatcherInterface {
 public:
  /// `second` is how long one second of a task's defer time lasts here, so
  /// tests can run the 6 s readiness wait or a 30 s back-off quickly.
  explicit ThreadedDispatcher(std::chrono::milliseconds second = std::chrono::milliseconds(1000));
  ThreadedDispatcher(const ThreadedDispatcher&) = delete;
  ThreadedDispatcher& operator=(const ThreadedDispatcher&) = delete;
  /// Stops the worker (see stop()).
  ~ThreadedDispatcher() override;

  /// Keeps a clone of `params` and runs `task(context, clone)` on the worker
  /// thread once its defer time has passed and check_status() says 1.
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;

  /// Lets the running task finish, drops every queued one and joins the
  /// worker. After it returns no task can run any more.
  void stop();
  /// True when nothing is queued and no task is being checked or run.
  bool idle() const;
  /// Blocks until idle().
  void wait_idle() const;

  /// Tasks run so far (check_status answered 1).
  int tasks_run() const;
  /// When each run task started and ended.
  std::vector<Interval> run_intervals() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Interval> run_intervals_;
  std::unique_ptr<korrin::host::TaskDispatcher> dispatcher_;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H
