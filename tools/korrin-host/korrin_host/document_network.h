// A network without a network: every fetch is answered at once with one
// document held in memory. For dry runs of a configuration document.
#ifndef KORRIN_HOST_DOCUMENT_NETWORK_H
#define KORRIN_HOST_DOCUMENT_NETWORK_H

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "korrin/plugins.h"

namespace korrin_host {

/// One request the library made: its URL, method and requester.
struct RequestRecord {
  std::string url;
  std::string method;
  std::string requester;
  bool operator==(const RequestRecord& other) const {
    return url == other.url && method == other.method && requester == other.requester;
  }
};

/// NetworkInterface whose fetch() answers 0 (done) with the document, on the
/// calling thread, whatever the URL; post() only records the request.
/// Thread-safe.
class DocumentNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  explicit DocumentNetwork(std::string document) : document_(std::move(document)) {}

  void post(const korrin::dispatcher::RequestContext& request) override;
  /// Copies the document into `response` and answers FETCH_DONE.
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  /// The fetches received, in order.
  std::vector<RequestRecord> fetches() const;
  /// The posts received, in order.
  std::vector<RequestRecord> posts() const;

 private:
  const std::string document_;
  mutable std::mutex mutex_;
  std::vector<RequestRecord> fetches_;
  std::vector<RequestRecord> posts_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_DOCUMENT_NETWORK_H
