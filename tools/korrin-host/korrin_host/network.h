// The host's network: libcurl GET and POST over http, https, tftp and file
// URLs, with fetches completed asynchronously on a worker thread.
#ifndef KORRIN_HOST_NETWORK_H
#define KORRIN_HOST_NETWORK_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "korrin/logger.h"
#include "korrin/plugins.h"
#include "korrin_host/fetch_listener.h"

namespace korrin_host {

/// How transfers are made.
struct NetworkOptions {
  /// Longest wait for a connection, in milliseconds.
  long connect_timeout_ms = 10000;
  /// Longest whole transfer, in milliseconds.
  long transfer_timeout_ms = 30000;
  /// CA certificates (PEM) that https servers are verified against; the
  /// system's store when empty. Verification is never switched off.
  std::string ca_file;
  /// fetch() transfers on the calling thread and answers 0 with the
  /// document (1 on failure) instead of 2 and a later delivery.
  bool sync_fetch = false;
};

/// What one transfer did.
struct TransferRecord {
  std::string kind;  ///< "fetch" or "post"
  std::string url;
  std::string requester;   ///< the library's requester ("CONFIGMGR", "INVENTORY")
  bool ok = false;         ///< transfer complete and, for http(s), a 2xx status
  long status = 0;         ///< HTTP status; 0 for other schemes or without an answer
  int transport_code = 0;  ///< libcurl's result code (0 = no transport error)
  std::string error;       ///< why it failed, for people
  std::size_t bytes = 0;   ///< bytes received (fetch) or sent (post)
  std::string body;        ///< the body a POST sent
  double started_s = 0;    ///< seconds from the network's creation to the start
  double duration_s = 0;
  bool listener_called = false;  ///< the outcome was delivered to the listener
  bool listener_answer = false;  ///< and this is what the listener answered
  bool cancelled = false;        ///< dropped by stop() before or during the transfer
};

/// NetworkInterface on libcurl.
///
/// post() and (unless sync_fetch) fetch() copy the request and queue it for
/// the worker thread, which makes one transfer at a time in arrival order.
/// A fetch's outcome goes to the FetchListener; the failure reason is the
/// HTTP status for an answer of 400 and above, otherwise libcurl's error
/// code. POST bodies go out with "Content-Type: application/json".
class Network : public korrin::dispatcher::NetworkInterface {
 public:
  using Clock = std::chrono::steady_clock;

  /// Records go to `log` (may be null) under the name "Host::Network".
  Network(NetworkOptions options, korrin::log::HostLogInterface* log);
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  /// Stops (see stop()).
  ~Network() override;

  /// Where fetch outcomes go; set it before the library can fetch.
  void set_listener(FetchListener* listener);

  void post(const korrin::dispatcher::RequestContext& request) override;
  /// 2 (pending) once queued; 0 with the document or 1 in sync mode; 1 when
  /// there is no listener or the network is stopped.
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  /// Aborts a transfer in progress, drops queued ones and joins the worker.
  /// No listener call happens after stop() returns. Idempotent.
  void stop();

  /// Whether nothing is queued or being transferred.
  bool idle() const;
  /// Waits until idle() or `timeout`; returns idle().
  bool wait_idle(std::chrono::milliseconds timeout) const;
  /// Number of requests accepted so far; changes whenever work arrives.
  std::uint64_t activity() const { return activity_.load(); }
  /// Every transfer made (or cancelled), in order of completion.
  std::vector<TransferRecord> records() const;

  /// One synchronous transfer with these options: GET unless `method` is
  /// given, the body sent as JSON. Usable without a worker.
  TransferRecord transfer(const std::string& kind,
                          const korrin::dispatcher::RequestContext& request, std::string& response);

 private:
  struct Job {
    std::string kind;
    korrin::dispatcher::RequestContext request;
  };

  void run();
  void deliver(TransferRecord& record, std::string& document);
  void add_record(const TransferRecord& record);

  const NetworkOptions options_;
  const Clock::time_point created_;
  korrin::log::Logger* logger_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  mutable std::condition_variable idle_changed_;
  std::deque<Job> jobs_;
  bool busy_ = false;
  bool stopping_flag_ = false;
  std::atomic<bool> stopping_{false};
  FetchListener* listener_ = nullptr;
  std::vector<TransferRecord> records_;
  std::atomic<std::uint64_t> activity_{0};
  std::mutex multis_mutex_;
  std::set<void*> active_multis_;
  std::thread worker_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_NETWORK_H
