#include "korrin/host/task_dispatcher.h"

#include <exception>
#include <iomanip>

#include "korrin/request.h"

namespace korrin {
namespace host {

const char* outcome_name(TaskOutcome outcome) {
  switch (outcome) {
    case TaskOutcome::ran: return "ran";
    case TaskOutcome::failed: return "failed";
    case TaskOutcome::deferred: return "deferred";
    case TaskOutcome::dropped: return "dropped";
    case TaskOutcome::discarded: return "discarded";
  }
  return "unknown";
}

std::size_t StopReport::ran() const {
  std::size_t count = 0;
  for (const TaskEvent& event : tasks) {
    if (event.outcome == TaskOutcome::ran || event.outcome == TaskOutcome::failed) {
      ++count;
    }
  }
  return count;
}

std::size_t StopReport::dropped() const { return tasks.size() - ran(); }

TaskDispatcher::TaskDispatcher(DispatcherOptions options)
    : options_(std::move(options)),
      logger_(create_logger(options_.log, options_.log_name, options_.log != nullptr)) {
  thread_ = std::thread([this] { run(); });
}

TaskDispatcher::~TaskDispatcher() {
  stop();
  delete_logger(logger_);
}

TaskDispatcher::Clock::duration TaskDispatcher::task_seconds(int seconds) const {
  return seconds > 0 ? options_.second * seconds : Clock::duration::zero();
}

void TaskDispatcher::set_observer(Observer observer) {
  std::lock_guard<std::mutex> guard(mutex_);
  observer_ = std::move(observer);
}

void TaskDispatcher::notify(const TaskEvent& event) {
  Observer observer;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    observer = observer_;
  }
  if (observer) {
    observer(event);
  }
}

void TaskDispatcher::add_task(TaskFunction task, void* context,
                              korrin::TaskParametersInterface* params) {
  if (params == nullptr || task == nullptr) {
    logger_->error() << "add_task: no task function or parameters, ignored";
    return;
  }
  std::unique_ptr<korrin::TaskParametersInterface> own(params->clone());
  if (!own) {
    logger_->error() << "add_task: the parameters gave no clone, ignored";
    return;
  }
  const int type = own->get_type();
  const int defer = own->get_defer_time();
  const int timeout = own->get_timeout();
  bool accepted = false;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (stopping_) {
      ++stats_.discarded;
    } else {
      accepted = true;
      ++stats_.accepted;
      Entry entry;
      entry.function = task;
      entry.context = context;
      entry.params = std::move(own);
      queue_.emplace(Key{Clock::now() + task_seconds(defer), sequence_++}, std::move(entry));
    }
  }
  if (!accepted) {
    own.reset();
    logger_->warning() << "add_task: dispatcher stopped, task of type " << type << " discarded";
    TaskEvent event;
    event.type = type;
    event.outcome = TaskOutcome::discarded;
    event.started = event.finished = event.run_started = event.run_finished = Clock::now();
    notify(event);
    return;
  }
  logger_->debug() << "add_task: type " << type << ", first check in " << defer << " s, time-out "
                   << timeout << " s";
  wake_.notify_all();
  idle_changed_.notify_all();
}

StopReport TaskDispatcher::stop(StopPolicy policy) {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (std::this_thread::get_id() == thread_.get_id()) {
    return StopReport();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
  std::map<Key, Entry> leftovers;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (stopped_) {
      return StopReport();
    }
    stopped_ = true;
    leftovers.swap(queue_);
    running_task_ = !leftovers.empty();
  }
  // The worker has ended: what was queued is dealt with here, on the stopping
  // thread, one task after the other in due order.
  StopReport report;
  for (auto& item : leftovers) {
    Entry& entry = item.second;
    TaskEvent event;
    if (policy == StopPolicy::run_ready) {
      check_and_run(entry, true, event);
    } else {
      event.type = entry.params->get_type();
      event.outcome = TaskOutcome::discarded;
      event.started = event.finished = event.run_started = event.run_finished = Clock::now();
    }
    entry.params.reset();
    {
      std::lock_guard<std::mutex> guard(mutex_);
      if (event.outcome != TaskOutcome::ran && event.outcome != TaskOutcome::failed) {
        ++stats_.discarded;
      }
    }
    notify(event);
    report.tasks.push_back(event);
  }
  if (!report.tasks.empty()) {
    logger_->notice() << "stop: " << report.tasks.size() << " queued task(s): " << report.ran()
                      << " ran, " << report.dropped() << " dropped";
  }
  {
    std::lock_guard<std::mutex> guard(mutex_);
    running_task_ = false;
  }
  idle_changed_.notify_all();
  return report;
}

void TaskDispatcher::pause() {
  std::lock_guard<std::mutex> guard(mutex_);
  paused_ = true;
}

void TaskDispatcher::resume() {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    paused_ = false;
  }
  wake_.notify_all();
}

bool TaskDispatcher::idle() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return queue_.empty() && !running_task_;
}

bool TaskDispatcher::wait_idle(std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return idle_changed_.wait_for(lock, timeout, [this] { return queue_.empty() && !running_task_; });
}

std::size_t TaskDispatcher::queued() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return queue_.size();
}

DispatcherStats TaskDispatcher::stats() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return stats_;
}

void TaskDispatcher::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopping_) {
    if (queue_.empty() || paused_) {
      wake_.wait(lock);
      continue;
    }
    auto first = queue_.begin();
    if (first->first.first > Clock::now()) {
      wake_.wait_until(lock, first->first.first);
      continue;
    }
    Entry entry = std::move(first->second);
    queue_.erase(first);
    running_task_ = true;
    lock.unlock();

    TaskEvent event;
    const bool again = check_and_run(entry, false, event);
    Clock::time_point next_due;
    if (again) {
      next_due = Clock::now() + task_seconds(entry.params->get_defer_time());
    } else {
      // Run or dropped: the clone is finished with.
      entry.params.reset();
    }
    notify(event);

    lock.lock();
    running_task_ = false;
    if (again) {
      queue_.emplace(Key{next_due, sequence_++}, std::move(entry));
    }
    idle_changed_.notify_all();
  }
}

bool TaskDispatcher::check_and_run(Entry& entry, bool stopping, TaskEvent& event) {
  const int type = entry.params->get_type();
  event.type = type;
  event.started = Clock::now();
  int status = 0;
  try {
    status = entry.params->check_status();
  } catch (const std::exception& error) {
    logger_->error() << "check_status: type " << type << " threw: " << error.what()
                     << "; task dropped";
    status = -1;
  } catch (...) {
    logger_->error() << "check_status: type " << type << " threw; task dropped";
    status = -1;
  }
  event.status = status;
  if (status == korrin::TASK_RUN) {
    execute(entry, event);
    event.finished = Clock::now();
    return false;
  }
  event.finished = Clock::now();
  event.run_started = event.run_finished = event.finished;
  if (status == korrin::TASK_DEFER && !stopping) {
    event.outcome = TaskOutcome::deferred;
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.deferred;
    return true;
  }
  if (status == -1) {
    event.status = 0;
    event.outcome = TaskOutcome::dropped;
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.failed;
    ++stats_.dropped;
    return false;
  }
  event.outcome = TaskOutcome::dropped;
  if (status == korrin::TASK_DROP) {
    logger_->info() << "check_status: type " << type << " dropped by its parameters";
  } else if (status != korrin::TASK_DEFER) {
    logger_->warning() << "check_status: type " << type << " answered unknown status " << status
                       << "; task dropped";
  }
  if (!stopping) {
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.dropped;
  }
  return false;
}

void TaskDispatcher::execute(Entry& entry, TaskEvent& event) {
  const int type = event.type;
  const int timeout = entry.params->get_timeout();
  logger_->debug() << "run: type " << type;
  const Clock::time_point started = Clock::now();
  bool failed = false;
  try {
    entry.function(entry.context, entry.params.get());
  } catch (const std::exception& error) {
    failed = true;
    logger_->error() << "run: type " << type << " threw: " << error.what();
  } catch (...) {
    failed = true;
    logger_->error() << "run: type " << type << " threw";
  }
  const Clock::time_point finished = Clock::now();
  const bool overran = timeout > 0 && finished - started > task_seconds(timeout);
  if (overran) {
    logger_->warning() << "run: type " << type << " overran its time-out of " << timeout
                       << " s (ran " << std::fixed << std::setprecision(3)
                       << std::chrono::duration<double>(finished - started).count()
                       << " s real time)";
  }
  event.outcome = failed ? TaskOutcome::failed : TaskOutcome::ran;
  event.run_started = started;
  event.run_finished = finished;
  std::lock_guard<std::mutex> guard(mutex_);
  ++stats_.ran;
  if (failed) {
    ++stats_.failed;
  }
  if (overran) {
    ++stats_.overruns;
  }
}

}  // namespace host
}  // namespace korrin
