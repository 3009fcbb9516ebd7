// A task dispatcher without a thread or a clock: queued tasks run when the
// host asks, on the host's own thread, one after the other. For dry runs,
// where only what the tasks do matters and not when.
#ifndef KORRIN_HOST_INLINE_DISPATCHER_H
#define KORRIN_HOST_INLINE_DISPATCHER_H

#include <deque>
#include <memory>

#include "korrin/plugins.h"

namespace korrin_host {

/// What became of the tasks handed to an InlineDispatcher.
struct InlineDispatcherStats {
  int accepted = 0;  ///< tasks taken by add_task()
  int ran = 0;       ///< tasks whose function was called
  int deferred = 0;  ///< tasks given up because check_status() answered 2
  int dropped = 0;   ///< tasks dropped because check_status() answered 3 (or else)
};

/// TaskDispatcherInterface that queues a clone() of each task's parameters
/// and runs the queue on run_queued(). Defer times are not waited for. A
/// task whose check_status() answers 1 runs; any other answer ends it (a dry
/// run has no later moment to ask again), counted as deferred for 2 and
/// dropped otherwise. Clones are deleted after their task; the ones still
/// queued are deleted with the dispatcher. Single-threaded.
class InlineDispatcher : public korrin::TaskDispatcherInterface {
 public:
  InlineDispatcher() = default;
  InlineDispatcher(const InlineDispatcher&) = delete;
  InlineDispatcher& operator=(const InlineDispatcher&) = delete;
  ~InlineDispatcher() override = default;

  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;

  /// Runs queued tasks, including those they queue in turn, until the queue
  /// is empty or `max_tasks` have been taken from it (a guard against a
  /// task that always queues another). Returns the number taken.
  int run_queued(int max_tasks = 100);

  /// Tasks waiting in the queue.
  int queued() const { return static_cast<int>(queue_.size()); }
  const InlineDispatcherStats& stats() const { return stats_; }

 private:
  struct Task {
    TaskFunction function = nullptr;
    void* context = nullptr;
    std::unique_ptr<korrin::TaskParametersInterface> params;
  };

  std::deque<Task> queue_;
  InlineDispatcherStats stats_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_INLINE_DISPATCHER_H
