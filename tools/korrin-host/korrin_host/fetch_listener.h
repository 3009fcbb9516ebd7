// Where the network delivers the outcome of an asynchronous fetch.
#ifndef KORRIN_HOST_FETCH_LISTENER_H
#define KORRIN_HOST_FETCH_LISTENER_H

#include <string>

#include "korrin/config_manager.h"

namespace korrin_host {

/// Receives the outcome of a fetch that NetworkInterface::fetch() answered
/// with 2 (pending). Called on the network's worker thread.
class FetchListener {
 public:
  virtual ~FetchListener() = default;
  /// The whole document arrived; returns the receiver's answer.
  virtual bool on_fetch_success(std::string& document) = 0;
  /// The fetch failed: `reason` is the HTTP status (400 and above) or the
  /// transport error code. Returns the receiver's answer.
  virtual bool on_fetch_failure(int reason) = 0;
};

/// Hands fetch outcomes to the library's configuration manager. The manager
/// answers false to a failure when it gives the request up (retry limit) or
/// when no request is in progress.
class ManagerFetchListener : public FetchListener {
 public:
  /// `manager` must outlive every delivery (stop the network first).
  explicit ManagerFetchListener(korrin::config::ConfigManager* manager) : manager_(manager) {}
  bool on_fetch_success(std::string& document) override {
    return manager_->on_fetch_config_success(document);
  }
  bool on_fetch_failure(int reason) override { return manager_->on_fetch_config_failure(reason); }

 private:
  korrin::config::ConfigManager* manager_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_FETCH_LISTENER_H
