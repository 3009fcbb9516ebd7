#include "korrin_host/inline_dispatcher.h"

#include <utility>

namespace korrin_host {

void InlineDispatcher::add_task(TaskFunction task, void* context,
                                korrin::TaskParametersInterface* params) {
  ++stats_.accepted;
  if (task == nullptr || params == nullptr) {
    ++stats_.dropped;
    return;
  }
  // The caller keeps its own object: the queue holds a clone.
  Task queued;
  queued.function = task;
  queued.context = context;
  queued.params.reset(params->clone());
  queue_.push_back(std::move(queued));
}

int InlineDispatcher::run_queued(int max_tasks) {
  int taken = 0;
  while (!queue_.empty() && taken < max_tasks) {
    Task task = std::move(queue_.front());
    queue_.pop_front();
    ++taken;
    if (!task.params) {
      ++stats_.dropped;
      continue;
    }
    const int status = task.params->check_status();
    if (status == korrin::TASK_RUN) {
      ++stats_.ran;
      task.function(task.context, task.params.get());
    } else if (status == korrin::TASK_DEFER) {
      ++stats_.deferred;
    } else {
      ++stats_.dropped;
    }
  }
  return taken;
}

}  // namespace korrin_host
