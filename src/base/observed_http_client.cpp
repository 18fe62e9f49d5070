#include "base/observed_http_client.h"

#include "base/json_value.h"

namespace vicinix {

void ObservedHttpClient::send(HttpRequest request, Completion completion) {
  ++inFlight_;
  std::string url = request.url;
  auto sent = reporter_ ? std::make_shared<HttpRequest>(request) : nullptr;
  inner_->send(std::move(request),
               [this, url, sent, completion = std::move(completion)](HttpResponse response) {
                 if (sent && reporter_) reporter_(*sent, response);
                 --inFlight_;
                 ++completed_;
                 if (!response.error.empty()) {
                   lastTransportError_ = response.error + " (" + url + ")";
                 } else if (response.status >= 400) {
                   lastTransportError_ = "HTTP " + std::to_string(response.status) + " from " + url;
                 } else if (response.body && firstBackendError_.empty()) {
                   auto message = JsonValue::parse(*response.body)["errors"][0]["message"];
                   if (message.isString()) firstBackendError_ = message.string();
                 }
                 completion(std::move(response));
               });
}

}  // namespace vicinix
