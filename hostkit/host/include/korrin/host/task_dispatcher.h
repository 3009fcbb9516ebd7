// A task dispatcher for libkorrin's deferred tasks: one worker thread and a
// timer queue on the steady clock.
#ifndef KORRIN_HOST_TASK_DISPATCHER_H
#define KORRIN_HOST_TASK_DISPATCHER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "korrin/host_log.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {
namespace host {

/// Counters of what the dispatcher did.
struct DispatcherStats {
  std::uint64_t accepted = 0;   ///< tasks taken by add_task()
  std::uint64_t ran = 0;        ///< tasks whose function was called
  std::uint64_t deferred = 0;   ///< check_status() answers of 2
  std::uint64_t dropped = 0;    ///< answers of 3, unknown answers, checks that threw
  std::uint64_t overruns = 0;   ///< tasks that ran longer than their time-out
  std::uint64_t failed = 0;     ///< tasks or checks that threw
  std::uint64_t discarded = 0;  ///< tasks dropped by stop() or added after it
};

/// What became of one task at one step.
enum class TaskOutcome {
  ran,        ///< check_status() answered 1 and the function returned
  failed,     ///< check_status() answered 1 and the function threw
  deferred,   ///< check_status() answered 2: asked again after the new defer time
  dropped,    ///< check_status() answered 3 or an unknown value, or threw (status 0)
  discarded,  ///< never checked: queued when stop() came, or added after it
};

/// Lower-case name of an outcome ("ran", "deferred", ...).
const char* outcome_name(TaskOutcome outcome);

/// One step of one task, as reported to the observer and by stop().
struct TaskEvent {
  int type = -1;   ///< get_type() of the parameters
  int status = 0;  ///< the check_status() answer; 0 when none was asked
  TaskOutcome outcome = TaskOutcome::discarded;
  std::chrono::steady_clock::time_point started;   ///< when the check began
  std::chrono::steady_clock::time_point finished;  ///< when the check or run ended
  /// When the task function was called and when it returned (ran or failed
  /// only; otherwise equal to `finished`).
  std::chrono::steady_clock::time_point run_started;
  std::chrono::steady_clock::time_point run_finished;
};

/// What stop() did with the tasks that were still queued.
struct StopReport {
  std::vector<TaskEvent> tasks;  ///< one entry per queued task, in due order
  std::size_t ran() const;
  std::size_t dropped() const;  ///< every task that did not run
};

/// What stop() does with the tasks still queued.
enum class StopPolicy {
  /// Delete every queued clone without asking or running it.
  drop_queued,
  /// Ask each queued task's check_status() once, at once (its remaining defer
  /// time is not waited): 1 runs it, anything else drops it.
  run_ready,
};

struct DispatcherOptions {
  /// How long one second of a task's defer time and time-out lasts. Tests and
  /// simulations shorten the library's 6 s readiness wait and 30 to 40 s
  /// retry back-off with it; a device keeps the default.
  std::chrono::steady_clock::duration second = std::chrono::seconds(1);
  /// Where the dispatcher's own records go (may be null), under `log_name`.
  korrin::log::HostLogInterface* log = nullptr;
  std::string log_name = "Host::TaskDispatcher";
};

/// Runs the library's deferred tasks on its own thread, by the task contract.
///
/// add_task() keeps a clone() of the parameters (the caller's object stays the
/// caller's) and schedules the first check get_defer_time() seconds later on
/// the steady clock. When a task is due, check_status() is asked on the
/// dispatcher's thread: 1 calls the task function with the context and the
/// clone, 2 schedules the next check after the defer time the parameters have
/// just stored, 3 (or any other answer) drops the task. The clone is deleted
/// on the dispatcher's thread once the task has run or was dropped. Tasks that
/// are due at the same time run in the order they were added; one task runs
/// at a time.
///
/// A task that runs longer than get_timeout() seconds (0 or less: no limit) is
/// not interrupted, since a library task cannot be cancelled, but a warning is
/// logged and counted. An exception out of check_status() drops the task; one
/// out of the task function is caught and logged.
///
/// Threads: add_task(), stop(), pause(), resume() and the queries may be called
/// from any thread, add_task() also from inside a running task. The observer
/// is called on the dispatcher's thread (or the stopping thread) without the
/// dispatcher's lock held.
///
/// Ownership: the dispatcher owns its clones and nothing else; the context
/// pointer is passed through untouched and must stay valid until the task ran
/// or stop() returned.
class TaskDispatcher : public korrin::TaskDispatcherInterface {
 public:
  using Clock = std::chrono::steady_clock;
  using Observer = std::function<void(const TaskEvent&)>;

  /// Starts the worker thread.
  explicit TaskDispatcher(DispatcherOptions options = DispatcherOptions());
  TaskDispatcher(const TaskDispatcher&) = delete;
  TaskDispatcher& operator=(const TaskDispatcher&) = delete;
  /// stop() with StopPolicy::drop_queued if it was not called before.
  ~TaskDispatcher() override;

  /// Queues a task (see the class comment). Null functions or parameters are
  /// ignored with an error record; after stop() the task is discarded with a
  /// warning and its clone deleted at once.
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;

  /// Stops the dispatcher: waits for a task that is running to return, joins
  /// the worker, then deals with the tasks still queued by `policy` on the
  /// calling thread and reports what became of each (also as one notice
  /// record). Tasks added meanwhile, also by tasks run here, are discarded.
  /// No task runs after stop() has returned. A second call returns an empty
  /// report. Called on the dispatcher's own thread (from a task) it only
  /// asks the worker to end; the queue is then dealt with by the destructor.
  StopReport stop(StopPolicy policy = StopPolicy::drop_queued);

  /// While paused no task is checked or run; tasks are still queued. A host
  /// pauses while it connects several accessories so that their configure
  /// requests join one fetch.
  void pause();
  /// Lets due tasks run again.
  void resume();

  /// Whether no task is queued or being checked or run.
  bool idle() const;
  /// Waits until idle() or `timeout`; returns idle().
  bool wait_idle(std::chrono::milliseconds timeout) const;
  /// Tasks queued (not counting one being checked or run).
  std::size_t queued() const;
  DispatcherStats stats() const;
  /// Called after every check, run, drop and discard; set it before tasks
  /// are added.
  void set_observer(Observer observer);

 private:
  struct Entry {
    TaskFunction function = nullptr;
    void* context = nullptr;
    std::unique_ptr<korrin::TaskParametersInterface> params;
  };
  using Key = std::pair<Clock::time_point, std::uint64_t>;

  Clock::duration task_seconds(int seconds) const;
  void run();
  // Checks `entry` and runs it on 1; true when it must be asked again later.
  bool check_and_run(Entry& entry, bool stopping, TaskEvent& event);
  void execute(Entry& entry, TaskEvent& event);
  void notify(const TaskEvent& event);

  const DispatcherOptions options_;
  korrin::log::Logger* logger_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  mutable std::condition_variable idle_changed_;
  std::map<Key, Entry> queue_;
  std::uint64_t sequence_ = 0;
  bool running_task_ = false;
  bool stopping_ = false;
  bool stopped_ = false;
  bool paused_ = false;
  DispatcherStats stats_;
  Observer observer_;
  std::thread thread_;
};

}  // namespace host
}  // namespace korrin

#endif  // KORRIN_HOST_TASK_DISPATCHER_H
