#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/dispatch_queue.h"
#include "platform/http_client.h"

namespace vicinix {

// Answers requests from a scripted responder after a virtual latency, and
// keeps every request it was given.
class FakeHttpClient final : public HttpClient {
 public:
  using Responder = std::function<HttpResponse(const HttpRequest&)>;

  explicit FakeHttpClient(std::shared_ptr<DispatchQueue> mainQueue);

  void send(HttpRequest request, Completion completion) override;

  // By default every request fails with "no responder".
  void setResponder(Responder responder);
  // Replies with `body` and status 200 to every request.
  void replyWith(std::string body);
  void setLatency(Duration latency);
  std::vector<HttpRequest> requests() const;

 private:
  std::shared_ptr<DispatchQueue> mainQueue_;
  mutable std::mutex mutex_;
  Responder responder_;
  Duration latency_{0};
  std::vector<HttpRequest> requests_;
};

}  // namespace vicinix
