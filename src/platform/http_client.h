#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vicinix {

struct HttpRequest {
  std::string method = "POST";
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::chrono::milliseconds timeout{60000};
  // Redirects to follow, to http and https URLs only. `headers` go to `url`
  // alone: a redirect target is another party and gets none of them.
  int maxRedirects = 0;
};

struct HttpResponse {
  // Empty when the exchange completed; otherwise what went wrong in words.
  std::string error;
  int status = 0;
  // Absent when nothing came back (always absent together with an error).
  std::optional<std::string> body;
};

// Sends requests off the main queue. TLS peers are always verified.
class HttpClient {
 public:
  using Completion = std::function<void(HttpResponse)>;
  virtual ~HttpClient() = default;
  // Sends `request`; `completion` runs exactly once, on the main queue.
  virtual void send(HttpRequest request, Completion completion) = 0;
};

}  // namespace vicinix
