// A network for libkorrin on libcurl: GET and POST over http, https, tftp and
// file URLs, fetches completed on a worker thread or on the caller's.
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

#include "korrin/config_manager.h"
#include "korrin/host_log.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {
namespace host {

/// Receives the outcome of a fetch that Network::fetch() answered with 2
/// (pending). Called on the network's worker thread.
class FetchListener {
 public:
  virtual ~FetchListener() = default;
  /// The whole document arrived; returns the receiver's answer.
  virtual bool on_fetch_success(std::string& document) = 0;
  /// The fetch failed: `reason` is the HTTP status (400 and above) or
  /// libcurl's error code. Returns the receiver's answer.
  virtual bool on_fetch_failure(int reason) = 0;
};

/// Hands fetch outcomes to the library's configuration manager through its
/// on_fetch_config_success() and on_fetch_config_failure() entry points.
class ConfigManagerListener : public FetchListener {
 public:
  /// `manager` must outlive every delivery: stop the network before
  /// korrin::config::delete_config_manager().
  explicit ConfigManagerListener(korrin::config::ConfigManager* manager) : manager_(manager) {}
  bool on_fetch_success(std::string& document) override {
    return manager_->on_fetch_config_success(document);
  }
  bool on_fetch_failure(int reason) override { return manager_->on_fetch_config_failure(reason); }

 private:
  korrin::config::ConfigManager* manager_;
};

/// The default bound of a response: 64 MiB.
constexpr std::size_t kDefaultMaxResponseBytes = std::size_t(64) * 1024 * 1024;

/// How transfers are made.
struct NetworkOptions {
  /// Longest wait for a connection, in milliseconds.
  long connect_timeout_ms = 10000;
  /// Longest whole transfer, in milliseconds.
  long transfer_timeout_ms = 30000;
  /// Largest response kept. A longer one (by its announced length, or while
  /// it arrives) fails the transfer with an error naming the limit, so that a
  /// server that never stops sending cannot exhaust memory.
  std::size_t max_response_bytes = kDefaultMaxResponseBytes;
  /// CA certificates (PEM) that https servers are verified against; the
  /// system's store when empty. Verification is never switched off.
  std::string ca_file;
  /// fetch() transfers on the calling thread (the library's dispatcher
  /// thread) and answers 0 with the document, or 1 on failure, instead of 2
  /// and a later delivery to the listener.
  bool sync_fetch = false;
  /// How many TransferRecords records() keeps (the latest ones).
  std::size_t history = 64;
  /// Sent as the User-Agent of http(s) requests.
  std::string user_agent = "korrin-host";
  /// Where the network's own records go (may be null), under "Host::Network".
  korrin::log::HostLogInterface* log = nullptr;
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
  std::string body;        ///< the body a POST sent (empty for a fetch)
  double started_s = 0;    ///< seconds from the network's creation to the start
  double duration_s = 0;
  bool listener_called = false;  ///< the outcome was delivered to the listener
  bool listener_answer = false;  ///< and this is what the listener answered
  bool cancelled = false;        ///< dropped by stop() before or during the transfer
};

/// korrin::dispatcher::NetworkInterface on libcurl.
///
/// Protocols: http, https, tftp and file; redirects are followed (at most 5)
/// to http and https only. A POST needs an http(s) URL and sends its body with
/// "Content-Type: application/json". A method other than empty, "GET" or
/// "POST" is sent as given.
///
/// Completion: post() and (unless sync_fetch) fetch() copy the request and
/// queue it for the worker thread, which makes one transfer at a time in
/// arrival order; fetch() answers 2 (pending) and the outcome goes to the
/// listener later (ConfigManagerListener delivers it to the library). The
/// failure reason is the HTTP status for an answer of 400 and above,
/// otherwise libcurl's error code. Without a listener, or after stop(), an
/// asynchronous fetch answers 1 at once. With sync_fetch, fetch() transfers
/// on the caller's thread and answers 0 or 1.
///
/// Threads: post(), fetch(), stop() and the queries may be called from any
/// thread. The listener is called on the worker thread without the network's
/// lock held; it may call post() and fetch().
///
/// Ownership: the network copies every request; it does not own the
/// listener or the log sink, which must outlive it or stop().
class Network : public korrin::dispatcher::NetworkInterface {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts the worker thread (libcurl's global state is set up once).
  explicit Network(NetworkOptions options = NetworkOptions());
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;
  /// Stops (see stop()).
  ~Network() override;

  /// Where fetch outcomes go; set it before the library can fetch. Null
  /// detaches.
  void set_listener(FetchListener* listener);

  void post(const korrin::dispatcher::RequestContext& request) override;
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  /// Aborts a transfer in progress at once, drops queued ones (recorded as
  /// cancelled) and joins the worker. No listener call happens after stop()
  /// returns; later fetches answer 1, later posts are dropped. Idempotent.
  void stop();

  /// Whether nothing is queued or being transferred.
  bool idle() const;
  /// Waits until idle() or `timeout`; returns idle().
  bool wait_idle(std::chrono::milliseconds timeout) const;
  /// The latest transfers made (or cancelled), in order of completion.
  std::vector<TransferRecord> records() const;
  /// Requests accepted so far (queued, or made at once by a synchronous
  /// fetch). It changes whenever work arrives, so a host that sees it
  /// unchanged across two idle() answers knows no transfer slipped between.
  std::uint64_t activity() const { return activity_.load(); }

  /// One transfer on the calling thread with these options: GET unless the
  /// request's method says otherwise. Usable without the worker; stop()
  /// aborts it too.
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
  std::atomic<std::uint64_t> activity_{0};
  FetchListener* listener_ = nullptr;
  std::deque<TransferRecord> records_;
  std::mutex multis_mutex_;
  std::set<void*> active_multis_;
  std::thread worker_;
};

}  // namespace host
}  // namespace korrin

#endif  // KORRIN_HOST_NETWORK_H
