#include "support/loopback_http_server.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vicinix::test {
namespace {

size_t bodyLength(const std::string& request, size_t headEnd) {
  size_t at = request.find("Content-Length: ");
  return at < headEnd ? std::stoul(request.substr(at + 16)) : 0;
}

}  // namespace

LoopbackHttpServer::LoopbackHttpServer(std::optional<Responder> responder)
    : responder_(std::move(responder)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
  listen(listener_, 8);
  getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  if (responder_) thread_ = std::thread([this] { serve(); });
}

LoopbackHttpServer::LoopbackHttpServer(const std::string& answer)
    : LoopbackHttpServer(Responder([answer](const std::string&) { return answer; })) {}

LoopbackHttpServer::~LoopbackHttpServer() {
  shutdown(listener_, SHUT_RDWR);  // wakes accept()
  if (thread_.joinable()) thread_.join();
  close(listener_);
}

std::vector<std::string> LoopbackHttpServer::received() {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::string LoopbackHttpServer::reply(int status, const std::string& body,
                                      const std::string& extraHeaders) {
  return "HTTP/1.1 " + std::to_string(status) + " Whatever\r\n" + extraHeaders +
         "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string LoopbackHttpServer::targetOf(const std::string& request) {
  size_t start = request.find(' ');
  if (start == std::string::npos) return "";
  size_t end = request.find(' ', start + 1);
  return request.substr(start + 1, end == std::string::npos ? end : end - start - 1);
}

void LoopbackHttpServer::serve() {
  for (int connection; (connection = accept(listener_, nullptr, nullptr)) >= 0;) {
    std::string request;
    char buffer[65536];
    // The head, then as much body as Content-Length says.
    for (size_t end; (end = request.find("\r\n\r\n")) == std::string::npos ||
                     request.size() < end + 4 + bodyLength(request, end);) {
      ssize_t got = recv(connection, buffer, sizeof buffer, 0);
      if (got <= 0) break;
      request.append(buffer, static_cast<size_t>(got));
    }
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    std::string answer = (*responder_)(request);
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    close(connection);
  }
}

}  // namespace vicinix::test
