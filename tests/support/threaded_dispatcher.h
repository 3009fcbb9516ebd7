// A small real task dispatcher: one worker thread that runs queued tasks
// through the task contract (wait the defer time, check_status, then run,
// wait again or drop), for tests where host threads and the dispatcher's
// thread are inside the library at the same time.
#ifndef KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H
#define KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

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
  struct Entry {
    TaskFunction function = nullptr;
    void* context = nullptr;
    std::unique_ptr<korrin::TaskParametersInterface> params;
    std::chrono::steady_clock::time_point due;
  };

  void work();
  std::chrono::steady_clock::time_point due_after(int seconds) const;

  const std::chrono::milliseconds second_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::deque<Entry> queue_;
  bool busy_ = false;
  bool stopping_ = false;
  int tasks_run_ = 0;
  std::vector<Interval> run_intervals_;
  std::thread worker_;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_THREADED_DISPATCHER_H
