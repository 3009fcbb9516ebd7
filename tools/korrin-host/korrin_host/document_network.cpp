#include "korrin_host/document_network.h"

namespace korrin_host {

namespace {

RequestRecord record_of(const korrin::dispatcher::RequestContext& request) {
  return RequestRecord{request.url, request.method, request.requester};
}

}  // namespace

void DocumentNetwork::post(const korrin::dispatcher::RequestContext& request) {
  std::lock_guard<std::mutex> guard(mutex_);
  posts_.push_back(record_of(request));
}

int DocumentNetwork::fetch(const korrin::dispatcher::RequestContext& request,
                           std::string& response) {
  std::lock_guard<std::mutex> guard(mutex_);
  fetches_.push_back(record_of(request));
  response = document_;
  return korrin::dispatcher::FETCH_DONE;
}

std::vector<RequestRecord> DocumentNetwork::fetches() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return fetches_;
}

std::vector<RequestRecord> DocumentNetwork::posts() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return posts_;
}

}  // namespace korrin_host
