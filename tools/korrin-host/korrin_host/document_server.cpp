#include "korrin_host/document_server.h"

#include <httplib.h>

#include <algorithm>

namespace korrin_host {

DocumentServer::DocumentServer() : server_(new httplib::Server) { install_handlers(); }

DocumentServer::DocumentServer(const std::string& certificate_file, const std::string& key_file)
    : server_(new httplib::SSLServer(certificate_file.c_str(), key_file.c_str())) {
  install_handlers();
}

DocumentServer::~DocumentServer() { stop(); }

void DocumentServer::install_handlers() {
  // Runs before the mount point: holds GETs while asked to, and answers them
  // with the fixed status when one is set.
  server_->set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        std::unique_lock<std::mutex> lock(mutex_);
        arriving_[&request] = next_arrival_++;
        if (request.method == "GET" && holding_) {
          ++held_;
          changed_.notify_all();
          changed_.wait(lock, [this] { return !holding_; });
          --held_;
        }
        if (request.method == "GET" && get_status_ != 0) {
          response.status = get_status_;
          return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
      });
  server_->Post(".*", [this](const httplib::Request&, httplib::Response& response) {
    std::lock_guard<std::mutex> guard(mutex_);
    response.status = post_status_;
    response.set_content("{}", "application/json");
  });
  server_->set_logger([this](const httplib::Request& request, const httplib::Response& response) {
    ReceivedRequest received;
    received.method = request.method;
    received.path = request.path;
    received.content_type = request.get_header_value("Content-Type");
    received.body = request.body;
    received.local_address = request.local_addr;
    received.status = response.status;
    std::lock_guard<std::mutex> guard(mutex_);
    // httplib notes a request after sending its answer, so the notes of two
    // requests in a row can come in either order: they are kept in the
    // order the requests arrived.
    std::uint64_t arrival = next_arrival_++;  // a request routing never saw
    const auto seen = arriving_.find(&request);
    if (seen != arriving_.end()) {
      arrival = seen->second;
      arriving_.erase(seen);
    }
    const auto later = std::upper_bound(arrivals_.begin(), arrivals_.end(), arrival);
    requests_.insert(requests_.begin() + (later - arrivals_.begin()), std::move(received));
    arrivals_.insert(later, arrival);
    changed_.notify_all();
  });
}

bool DocumentServer::serve_directory(const std::string& directory) {
  return server_->set_mount_point("/", directory);
}

void DocumentServer::set_get_status(int status) {
  std::lock_guard<std::mutex> guard(mutex_);
  get_status_ = status;
}

void DocumentServer::set_post_status(int status) {
  std::lock_guard<std::mutex> guard(mutex_);
  post_status_ = status;
}

void DocumentServer::hold_requests() {
  std::lock_guard<std::mutex> guard(mutex_);
  holding_ = true;
}

void DocumentServer::release_requests() {
  std::lock_guard<std::mutex> guard(mutex_);
  holding_ = false;
  changed_.notify_all();
}

bool DocumentServer::start(const std::string& address, int port) {
  if (thread_.joinable() || !server_->is_valid()) {
    return false;
  }
  if (port == 0) {
    port_ = server_->bind_to_any_port(address);
    if (port_ <= 0) {
      port_ = 0;
      return false;
    }
  } else {
    if (!server_->bind_to_port(address, port)) {
      return false;
    }
    port_ = port;
  }
  // The socket is bound and listening already: clients may connect at once.
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  return true;
}

void DocumentServer::stop() {
  release_requests();
  if (thread_.joinable()) {
    server_->stop();
    thread_.join();
  }
}

std::vector<ReceivedRequest> DocumentServer::requests() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return requests_;
}

std::vector<ReceivedRequest> DocumentServer::posts() const {
  std::vector<ReceivedRequest> posts;
  for (const ReceivedRequest& request : requests()) {
    if (request.method == "POST") {
      posts.push_back(request);
    }
  }
  return posts;
}

bool DocumentServer::wait_for_requests(std::size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

bool DocumentServer::wait_for_held_request(std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return held_ > 0; });
}

}  // namespace korrin_host
