/// \file
/// The network request record and the deferred-task parameters contract.
#ifndef KORRIN_REQUEST_H
#define KORRIN_REQUEST_H

#include <string>

#include "korrin/export.h"

namespace korrin {
namespace dispatcher {

/// One network request handed to the host's network interface.
///
/// The library builds it on its own stack and passes it by reference: the
/// host must copy whatever it keeps beyond the call.
struct RequestContext {
  std::string url;        ///< absolute URL of the request
  std::string method;     ///< "POST" for the inventory; empty means GET
  std::string requester;  ///< "CONFIGMGR" or "INVENTORY"
  std::string body;       ///< request body (the inventory JSON); empty for a fetch
  int flags = 0;          ///< always 0 in requests the library makes
  std::string extra;      ///< always empty in requests the library makes
};

}  // namespace dispatcher

/// Answer of TaskParametersInterface::check_status().
enum TaskStatus { TASK_RUN = 1, TASK_DEFER = 2, TASK_DROP = 3 };

/// Parameters of one deferred task (0 = configuration request, 1 = inventory).
///
/// The dispatcher receives the caller's object in add_task(), keeps its own
/// clone(), and deletes that clone when the task has run or was dropped.
/// Before the first check it waits get_defer_time() seconds; check_status()
/// then answers 1 (run now), 2 (ask again after the new get_defer_time())
/// or 3 (drop the task).
class KORRIN_API TaskParametersInterface {
 public:
  virtual ~TaskParametersInterface() = default;
  /// A deep heap copy; the caller owns it.
  virtual TaskParametersInterface* clone() const = 0;
  /// 0 = configuration request, 1 = inventory metric.
  virtual int get_type() const = 0;
  /// 1 = run, 2 = defer (defer time already updated), 3 = drop.
  virtual int check_status() = 0;
  /// Seconds the dispatcher allows the task to run.
  virtual int get_timeout() const = 0;
  /// Seconds to wait before the next check or run.
  virtual int get_defer_time() const = 0;
};

}  // namespace korrin

#endif  // KORRIN_REQUEST_H
