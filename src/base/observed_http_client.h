#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/http_client.h"

namespace vicinix {

// Forwards to the real client and keeps what the host needs to report on:
// how many requests are in flight, the last transport error, and the first
// error the backend put in a GraphQL reply. Used on the main thread only.
class ObservedHttpClient final : public HttpClient {
 public:
  explicit ObservedHttpClient(std::shared_ptr<HttpClient> inner) : inner_(std::move(inner)) {}

  void send(HttpRequest request, Completion completion) override;

  // Told of every exchange as it completes, before the SDK sees the reply.
  using Reporter = std::function<void(const HttpRequest&, const HttpResponse&)>;
  void setReporter(Reporter reporter) { reporter_ = std::move(reporter); }

  int inFlight() const { return inFlight_; }
  int completed() const { return completed_; }
  const std::string& lastTransportError() const { return lastTransportError_; }
  const std::string& firstBackendError() const { return firstBackendError_; }

 private:
  std::shared_ptr<HttpClient> inner_;
  Reporter reporter_;
  int inFlight_ = 0;
  int completed_ = 0;
  std::string lastTransportError_;
  std::string firstBackendError_;
};

}  // namespace vicinix
