#include "platform/fake/fake_http_client.h"

namespace vicinix {

FakeHttpClient::FakeHttpClient(std::shared_ptr<DispatchQueue> mainQueue)
    : mainQueue_(std::move(mainQueue)) {}

void FakeHttpClient::send(HttpRequest request, Completion completion) {
  Responder responder;
  Duration latency;
  {
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    responder = responder_;
    latency = latency_;
  }
  HttpResponse response;
  if (responder) {
    response = responder(request);
  } else {
    response.error = "no responder";
  }
  mainQueue_->asyncAfter(
      latency, [completion = std::move(completion), response = std::move(response)]() mutable {
        completion(std::move(response));
      });
}

void FakeHttpClient::setResponder(Responder responder) {
  std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
}

void FakeHttpClient::replyWith(std::string body) {
  setResponder([body = std::move(body)](const HttpRequest&) {
    return HttpResponse{.error = {}, .status = 200, .body = body};
  });
}

void FakeHttpClient::setLatency(Duration latency) {
  std::lock_guard lock(mutex_);
  latency_ = latency;
}

std::vector<HttpRequest> FakeHttpClient::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

}  // namespace vicinix
