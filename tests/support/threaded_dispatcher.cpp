#include "support/threaded_dispatcher.h"

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

ThreadedDispatcher::ThreadedDispatcher(std::chrono::milliseconds second) {
  korrin::host::DispatcherOptions options;
  options.second = second;
  dispatcher_ = std::make_unique<korrin::host::TaskDispatcher>(options);
  dispatcher_->set_observer([this](const korrin::host::TaskEvent& event) {
    if (event.outcome == korrin::host::TaskOutcome::ran ||
        event.outcome == korrin::host::TaskOutcome::failed) {
      std::lock_guard<std::mutex> guard(mutex_);
      run_intervals_.push_back(Interval{event.run_started, event.run_finished});
    }
  });
}

ThreadedDispatcher::~ThreadedDispatcher() { stop(); }

void ThreadedDispatcher::add_task(TaskFunction task, void* context,
                                  korrin::TaskParametersInterface* params) {
  dispatcher_->add_task(task, context, params);
}

void ThreadedDispatcher::stop() { dispatcher_->stop(); }

bool ThreadedDispatcher::idle() const { return dispatcher_->idle(); }

void ThreadedDispatcher::wait_idle() const {
  while (!dispatcher_->wait_idle(std::chrono::milliseconds(1000))) {
  }
}

int ThreadedDispatcher::tasks_run() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return static_cast<int>(run_intervals_.size());
}

std::vector<Interval> ThreadedDispatcher::run_intervals() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return run_intervals_;
}

}  // namespace korrin_test
