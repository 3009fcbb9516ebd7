#include "support/threaded_dispatcher.h"

#include <algorithm>
#include <utility>

namespace korrin_test {

bool any_overlap(const std::vector<Interval>& a, const std::vector<Interval>& b) {
  for (const auto& x : a) {
    for (const auto& y : b) {
      if (x.start < y.end && y.start < x.end) {
        return true;
      }
    }
  }
  return false;
}

ThreadedDispatcher::ThreadedDispatcher(std::chrono::milliseconds second)
    : second_(second), worker_([this] { work(); }) {}

ThreadedDispatcher::~ThreadedDispatcher() { stop(); }

std::chrono::steady_clock::time_point ThreadedDispatcher::due_after(int seconds) const {
  return std::chrono::steady_clock::now() + second_ * std::max(seconds, 0);
}

void ThreadedDispatcher::add_task(TaskFunction task, void* context,
                                  korrin::TaskParametersInterface* params) {
  if (task == nullptr || params == nullptr) {
    return;
  }
  Entry entry;
  entry.function = task;
  entry.context = context;
  entry.params.reset(params->clone());  // the caller's object stays the caller's
  entry.due = due_after(entry.params->get_defer_time());
  std::lock_guard<std::mutex> guard(mutex_);
  if (stopping_) {
    return;
  }
  queue_.push_back(std::move(entry));
  changed_.notify_all();
}

void ThreadedDispatcher::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    if (stopping_) {
      return;
    }
    if (queue_.empty()) {
      changed_.wait(lock);
      continue;
    }
    auto next = std::min_element(queue_.begin(), queue_.end(),
                                 [](const Entry& a, const Entry& b) { return a.due < b.due; });
    if (next->due > std::chrono::steady_clock::now()) {
      changed_.wait_until(lock, next->due);
      continue;
    }
    Entry entry = std::move(*next);
    queue_.erase(next);
    busy_ = true;
    lock.unlock();

    const int status = entry.params->check_status();
    Interval ran{};
    if (status == korrin::TASK_RUN) {
      ran.start = std::chrono::steady_clock::now();
      entry.function(entry.context, entry.params.get());
      ran.end = std::chrono::steady_clock::now();
    }
    if (status == korrin::TASK_DEFER) {
      entry.due = due_after(entry.params->get_defer_time());
    } else {
      entry.params.reset();  // the task ran or was dropped: its clone goes now
    }

    lock.lock();
    if (status == korrin::TASK_RUN) {
      ++tasks_run_;
      run_intervals_.push_back(ran);
    } else if (status == korrin::TASK_DEFER) {
      queue_.push_back(std::move(entry));
    }
    busy_ = false;
    changed_.notify_all();
  }
}

void ThreadedDispatcher::stop() {
  std::deque<Entry> dropped;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_ = true;
    dropped.swap(queue_);
    changed_.notify_all();
  }
  if (worker_.joinable()) {
    worker_.join();
  }
}

bool ThreadedDispatcher::idle() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return queue_.empty() && !busy_;
}

void ThreadedDispatcher::wait_idle() const {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return (queue_.empty() && !busy_) || stopping_; });
}

int ThreadedDispatcher::tasks_run() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return tasks_run_;
}

std::vector<Interval> ThreadedDispatcher::run_intervals() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return run_intervals_;
}

}  // namespace korrin_test
