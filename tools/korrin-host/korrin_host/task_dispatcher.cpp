#include "korrin_host/task_dispatcher.h"

#include <exception>
#include <iomanip>
#include <string>

namespace korrin_host {

namespace {

double seconds_between(TaskDispatcher::Clock::time_point from,
                       TaskDispatcher::Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

}  // namespace

TaskDispatcher::TaskDispatcher(korrin::log::HostLogInterface* log, double time_scale)
    : time_scale_(time_scale > 0 ? time_scale : 1.0),
      logger_(create_logger(log, "Host::TaskDispatcher", log != nullptr)) {
  thread_ = std::thread([this] { run(); });
}

TaskDispatcher::~TaskDispatcher() {
  stop();
  if (thread_.joinable()) {
    // Only reached when stop() was first called from a task.
    thread_.join();
  }
  delete_logger(logger_);
}

TaskDispatcher::Clock::duration TaskDispatcher::scaled(double seconds) const {
  if (seconds <= 0) {
    return Clock::duration::zero();
  }
  return std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(seconds * time_scale_));
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
      queue_.emplace(Key{Clock::now() + scaled(defer), sequence_++}, std::move(entry));
    }
  }
  if (!accepted) {
    // `own` still holds the clone and deletes it on return.
    logger_->warning() << "add_task: dispatcher stopped, task of type " << type << " discarded";
    return;
  }
  logger_->debug() << "add_task: type " << type << ", first check in " << defer << " s, time-out "
                   << timeout << " s";
  wake_.notify_all();
  idle_changed_.notify_all();
}

void TaskDispatcher::stop() {
  std::size_t discarded = 0;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!stopping_) {
      stopping_ = true;
    }
  }
  wake_.notify_all();
  if (std::this_thread::get_id() == thread_.get_id()) {
    return;
  }
  if (thread_.joinable()) {
    thread_.join();
  }
  std::map<Key, Entry> leftovers;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    leftovers.swap(queue_);
    discarded = leftovers.size();
    stats_.discarded += discarded;
  }
  // The clones are deleted here, on the stopping thread, after the worker
  // has gone: their destructors may still reach into the library.
  leftovers.clear();
  if (discarded > 0) {
    logger_->notice() << "stop: discarded " << discarded << " queued task(s)";
  }
  idle_changed_.notify_all();
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

    bool reschedule = false;
    Clock::time_point next_due;
    handle_due(entry, reschedule, next_due);
    if (!reschedule) {
      // Run or dropped: the clone is finished with.
      entry.params.reset();
    }

    lock.lock();
    running_task_ = false;
    if (reschedule) {
      queue_.emplace(Key{next_due, sequence_++}, std::move(entry));
    }
    idle_changed_.notify_all();
  }
}

void TaskDispatcher::handle_due(Entry& entry, bool& reschedule, Clock::time_point& next_due) {
  const int type = entry.params->get_type();
  int status = 0;
  try {
    status = entry.params->check_status();
  } catch (const std::exception& error) {
    logger_->error() << "check_status: type " << type << " threw: " << error.what()
                     << "; task dropped";
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.failed;
    return;
  } catch (...) {
    logger_->error() << "check_status: type " << type << " threw; task dropped";
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.failed;
    return;
  }
  if (status == korrin::TASK_RUN) {
    execute(entry);
    return;
  }
  if (status == korrin::TASK_DEFER) {
    const int defer = entry.params->get_defer_time();
    logger_->debug() << "check_status: type " << type << " not ready, next check in " << defer
                     << " s";
    next_due = Clock::now() + scaled(defer);
    reschedule = true;
    std::lock_guard<std::mutex> guard(mutex_);
    ++stats_.deferred;
    return;
  }
  if (status == korrin::TASK_DROP) {
    logger_->info() << "check_status: type " << type << " dropped by its parameters";
  } else {
    logger_->warning() << "check_status: type " << type << " answered unknown status " << status
                       << "; task dropped";
  }
  std::lock_guard<std::mutex> guard(mutex_);
  ++stats_.dropped;
}

void TaskDispatcher::execute(Entry& entry) {
  const int type = entry.params->get_type();
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
  // A time-out of 0 or less sets no limit.
  const bool overran = timeout > 0 && finished - started > scaled(timeout);
  if (overran) {
    logger_->warning() << "run: type " << type << " overran its time-out of " << timeout
                       << " s (ran " << std::fixed << std::setprecision(3)
                       << seconds_between(started, finished) << " s real time)";
  }
  std::lock_guard<std::mutex> guard(mutex_);
  ++stats_.ran;
  if (failed) {
    ++stats_.failed;
  }
  if (overran) {
    ++stats_.overruns;
  }
}

}  // namespace korrin_host
