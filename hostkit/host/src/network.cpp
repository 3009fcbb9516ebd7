#include "korrin/host/network.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <iomanip>

#include "korrin/request.h"

namespace korrin {
namespace host {

namespace {

void initialise_curl_once() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// Where the write callback appends and how much it may keep.
struct Sink {
  std::string* target = nullptr;
  std::size_t limit = 0;
  bool overflowed = false;
};

size_t append_bounded(char* data, size_t size, size_t count, void* user) {
  Sink* sink = static_cast<Sink*>(user);
  const std::size_t bytes = size * count;
  if (bytes > sink->limit - std::min(sink->limit, sink->target->size())) {
    sink->overflowed = true;
    return 0;  // libcurl fails the transfer with CURLE_WRITE_ERROR
  }
  sink->target->append(data, bytes);
  return bytes;
}

bool is_http_url(const std::string& url) {
  std::string scheme;
  for (const char c : url.substr(0, url.find(':'))) {
    scheme += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return scheme == "http" || scheme == "https";
}

int failure_reason(const TransferRecord& record) {
  if (record.status >= 400 || record.transport_code == 0) {
    return static_cast<int>(record.status);
  }
  return record.transport_code;
}

std::string limit_error(std::size_t limit) {
  return "the response is larger than the limit of " + std::to_string(limit) +
         " bytes; transfer aborted";
}

}  // namespace

Network::Network(NetworkOptions options)
    : options_(std::move(options)),
      created_(Clock::now()),
      logger_(create_logger(options_.log, "Host::Network", options_.log != nullptr)) {
  initialise_curl_once();
  worker_ = std::thread([this] { run(); });
}

Network::~Network() {
  stop();
  delete_logger(logger_);
}

void Network::set_listener(FetchListener* listener) {
  std::lock_guard<std::mutex> guard(mutex_);
  listener_ = listener;
}

void Network::post(const korrin::dispatcher::RequestContext& request) {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!stopping_flag_) {
      jobs_.push_back(Job{"post", request});
      ++activity_;
      wake_.notify_all();
      return;
    }
  }
  logger_->warning() << "post: network stopped, request to " << request.url << " dropped";
}

int Network::fetch(const korrin::dispatcher::RequestContext& request, std::string& response) {
  if (options_.sync_fetch) {
    ++activity_;
    std::string document;
    TransferRecord record = transfer("fetch", request, document);
    add_record(record);
    if (!record.ok) {
      return korrin::dispatcher::FETCH_UNAVAILABLE;
    }
    response = std::move(document);
    return korrin::dispatcher::FETCH_DONE;
  }
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!stopping_flag_ && listener_ != nullptr) {
      jobs_.push_back(Job{"fetch", request});
      ++activity_;
      wake_.notify_all();
      return korrin::dispatcher::FETCH_PENDING;
    }
  }
  logger_->warning() << "fetch: network stopped or no listener, cannot fetch " << request.url;
  return korrin::dispatcher::FETCH_UNAVAILABLE;
}

void Network::stop() {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_flag_ = true;
    stopping_ = true;
  }
  wake_.notify_all();
  {
    // Wakes a transfer waiting in curl_multi_poll() so that it sees the flag.
    std::lock_guard<std::mutex> guard(multis_mutex_);
    for (void* multi : active_multis_) {
      curl_multi_wakeup(static_cast<CURLM*>(multi));
    }
  }
  if (worker_.joinable()) {
    worker_.join();
  }
  std::deque<Job> leftovers;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    leftovers.swap(jobs_);
  }
  for (const Job& job : leftovers) {
    TransferRecord record;
    record.kind = job.kind;
    record.url = job.request.url;
    record.requester = job.request.requester;
    record.cancelled = true;
    record.error = "cancelled by shut-down before it started";
    add_record(record);
  }
  idle_changed_.notify_all();
}

bool Network::idle() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return jobs_.empty() && !busy_;
}

bool Network::wait_idle(std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return idle_changed_.wait_for(lock, timeout, [this] { return jobs_.empty() && !busy_; });
}

std::vector<TransferRecord> Network::records() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return std::vector<TransferRecord>(records_.begin(), records_.end());
}

void Network::add_record(const TransferRecord& record) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (options_.history == 0) {
    return;
  }
  if (records_.size() >= options_.history) {
    records_.pop_front();
  }
  records_.push_back(record);
}

void Network::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopping_flag_) {
    if (jobs_.empty()) {
      wake_.wait(lock);
      continue;
    }
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    busy_ = true;
    lock.unlock();

    std::string response;
    TransferRecord record = transfer(job.kind, job.request, response);
    if (job.kind == "fetch") {
      deliver(record, response);
    }
    add_record(record);

    lock.lock();
    busy_ = false;
    idle_changed_.notify_all();
  }
}

void Network::deliver(TransferRecord& record, std::string& document) {
  FetchListener* listener = nullptr;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    listener = listener_;
  }
  if (stopping_ || listener == nullptr || record.cancelled) {
    return;
  }
  record.listener_called = true;
  if (record.ok) {
    record.listener_answer = listener->on_fetch_success(document);
  } else {
    record.listener_answer = listener->on_fetch_failure(failure_reason(record));
  }
}

TransferRecord Network::transfer(const std::string& kind,
                                 const korrin::dispatcher::RequestContext& request,
                                 std::string& response) {
  TransferRecord record;
  record.kind = kind;
  record.url = request.url;
  record.requester = request.requester;
  const Clock::time_point started = Clock::now();
  record.started_s = std::chrono::duration<double>(started - created_).count();
  response.clear();

  const bool is_post = kind == "post" || request.method == "POST";
  if (is_post) {
    record.body = request.body;
  }
  if (is_post && !is_http_url(request.url)) {
    record.error = "a POST needs an http or https URL";
    logger_->warning() << kind << ": " << request.url << " failed: " << record.error;
    return record;
  }
  logger_->info() << kind << ": " << (is_post ? "POST " : "GET ") << request.url;

  CURL* easy = curl_easy_init();
  if (easy == nullptr) {
    record.error = "libcurl could not create a transfer";
    logger_->warning() << kind << ": " << request.url << " failed: " << record.error;
    return record;
  }
  Sink sink;
  sink.target = &response;
  sink.limit = options_.max_response_bytes;
  char error_text[CURL_ERROR_SIZE] = {0};
  curl_slist* headers = nullptr;
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https,tftp,file");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 5L);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, options_.connect_timeout_ms);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, options_.transfer_timeout_ms);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error_text);
  curl_easy_setopt(easy, CURLOPT_USERAGENT, options_.user_agent.c_str());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append_bounded);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &sink);
  // Refuses at once a response whose announced length is over the limit.
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(options_.max_response_bytes));
  if (!options_.ca_file.empty()) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, options_.ca_file.c_str());
  }
  if (is_post) {
    headers = curl_slist_append(headers, "Content-Type: application/json");
    // No "100 continue" round trip before the body.
    headers = curl_slist_append(headers, "Expect:");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
  } else if (!request.method.empty() && request.method != "GET") {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  // A multi handle lets stop() interrupt the wait at once (curl_multi_wakeup).
  CURLM* multi = curl_multi_init();
  curl_multi_add_handle(multi, easy);
  {
    std::lock_guard<std::mutex> guard(multis_mutex_);
    active_multis_.insert(multi);
  }
  CURLcode result = CURLE_OK;
  while (true) {
    if (stopping_) {
      record.cancelled = true;
      break;
    }
    int running = 0;
    if (curl_multi_perform(multi, &running) != CURLM_OK) {
      result = CURLE_FAILED_INIT;
      break;
    }
    if (running == 0) {
      int queued = 0;
      while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
        if (message->msg == CURLMSG_DONE) {
          result = message->data.result;
        }
      }
      break;
    }
    curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
  {
    std::lock_guard<std::mutex> guard(multis_mutex_);
    active_multis_.erase(multi);
  }
  curl_multi_remove_handle(multi, easy);
  curl_multi_cleanup(multi);

  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  curl_slist_free_all(headers);

  record.duration_s = std::chrono::duration<double>(Clock::now() - started).count();
  record.status = is_http_url(request.url) ? status : 0;
  record.bytes = is_post ? request.body.size() : response.size();
  if (record.cancelled) {
    response.clear();
    record.error = "cancelled by shut-down";
    logger_->notice() << kind << ": " << request.url << " cancelled by shut-down";
    return record;
  }
  record.transport_code = static_cast<int>(result);
  if (sink.overflowed || result == CURLE_FILESIZE_EXCEEDED) {
    record.error = limit_error(options_.max_response_bytes);
  } else if (result != CURLE_OK) {
    record.error = error_text[0] != '\0' ? error_text : curl_easy_strerror(result);
  } else if (record.status != 0 && (record.status < 200 || record.status > 299)) {
    record.error = "HTTP status " + std::to_string(record.status);
  } else {
    record.ok = true;
  }
  if (record.ok) {
    logger_->info() << kind << ": " << request.url << " done, status " << record.status << ", "
                    << record.bytes << " bytes in " << std::fixed << std::setprecision(3)
                    << record.duration_s << " s";
  } else {
    // What arrived of a failed transfer is not handed on; its memory goes now.
    std::string().swap(response);
    logger_->warning() << kind << ": " << request.url << " failed: " << record.error;
  }
  return record;
}

}  // namespace host
}  // namespace korrin
