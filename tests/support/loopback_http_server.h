#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vicinix::test {

// A one-thread HTTP/1.1 server on 127.0.0.1 for tests. Each connection takes
// one request and gets the answer bytes the responder builds from it (status
// line, headers and body; build them with reply()); the connection is then
// closed. A server without a responder never even accepts, so requests hang.
class LoopbackHttpServer {
 public:
  using Responder = std::function<std::string(const std::string& request)>;

  explicit LoopbackHttpServer(std::optional<Responder> responder);
  // Every request gets the same answer.
  explicit LoopbackHttpServer(const std::string& answer);
  ~LoopbackHttpServer();

  // "http://127.0.0.1:<port>", without a trailing slash.
  const std::string& url() const { return url_; }
  // Every request as it arrived: request line, headers, body.
  std::vector<std::string> received();

  // A complete answer with Content-Length and "Connection: close".
  static std::string reply(int status, const std::string& body,
                           const std::string& extraHeaders = "");
  // The target of a request's first line: "/path?query".
  static std::string targetOf(const std::string& request);

 private:
  void serve();

  std::optional<Responder> responder_;
  int listener_;
  std::string url_;
  std::thread thread_;
  std::mutex mutex_;
  std::vector<std::string> requests_;
};

}  // namespace vicinix::test
