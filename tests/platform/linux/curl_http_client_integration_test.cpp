#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <thread>

#include "platform/linux/curl_http_client.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

// Generous: only a broken implementation comes near it.
constexpr auto kPatience = std::chrono::seconds(10);

std::string reply(int status, const std::string& body, const std::string& extraHeaders = "") {
  return "HTTP/1.1 " + std::to_string(status) + " Whatever\r\n" + extraHeaders +
         "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

// A one-thread HTTP server on 127.0.0.1. Each connection carries one request,
// answered with what the script returns for it; nothing means the connection
// is held open and never answered.
class ScriptedServer {
 public:
  using Script = std::function<std::optional<std::string>(const std::string& request)>;

  explicit ScriptedServer(Script script) : script_(std::move(script)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    listen(listener_, 64);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~ScriptedServer() {
    shutdown(listener_, SHUT_RDWR);  // wakes accept()
    thread_.join();
    for (int fd : held_) close(fd);
    close(listener_);
  }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  // Every request as it arrived: request line, headers, body.
  std::vector<std::string> received() const {
    std::lock_guard lock(mutex_);
    return received_;
  }

 private:
  void serve() {
    for (int connection; (connection = accept(listener_, nullptr, nullptr)) >= 0;) {
      std::string request = readRequest(connection);
      {
        std::lock_guard lock(mutex_);
        received_.push_back(request);
      }
      auto answer = script_(request);
      if (!answer) {
        held_.push_back(connection);
        continue;
      }
      for (size_t sent = 0; sent < answer->size();) {
        ssize_t wrote =
            send(connection, answer->data() + sent, answer->size() - sent, MSG_NOSIGNAL);
        if (wrote <= 0) break;
        sent += static_cast<size_t>(wrote);
      }
      close(connection);
    }
  }

  // The head and as much body as Content-Length says.
  static std::string readRequest(int connection) {
    std::string data;
    char buffer[4096];
    for (;;) {
      size_t headEnd = data.find("\r\n\r\n");
      if (headEnd != std::string::npos) {
        size_t at = data.find("Content-Length: ");
        size_t length = at < headEnd ? std::stoul(data.substr(at + 16)) : 0;
        if (data.size() >= headEnd + 4 + length) return data;
      }
      ssize_t got = recv(connection, buffer, sizeof buffer, 0);
      if (got <= 0) return data;
      data.append(buffer, static_cast<size_t>(got));
    }
  }

  Script script_;
  int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  uint16_t port_ = 0;
  std::thread thread_;
  std::vector<int> held_;
  mutable std::mutex mutex_;
  std::vector<std::string> received_;
};

HttpRequest requestTo(std::string url, std::string method = "POST", std::string body = "") {
  HttpRequest request;
  request.url = std::move(url);
  request.method = std::move(method);
  request.body = std::move(body);
  return request;
}

class CurlHttpClientTest : public ::testing::Test {
 protected:
  struct Outcome {
    HttpResponse response;
    bool onMainQueue = false;
    std::thread::id thread;
  };

  // Sends and iterates the main context until the completion has run.
  Outcome exchange(HttpRequest request) {
    std::optional<Outcome> outcome;
    http->send(std::move(request), [&](HttpResponse response) {
      outcome = Outcome{std::move(response), main->isCurrent(), std::this_thread::get_id()};
    });
    EXPECT_TRUE(runMainLoopUntil([&] { return outcome.has_value(); }, kPatience));
    return outcome.value_or(Outcome{});
  }

  std::shared_ptr<DispatchQueue> main = makeGlibDispatchQueueFactory()->mainQueue();
  std::shared_ptr<HttpClient> http = makeCurlHttpClient(main);
};

TEST_F(CurlHttpClientTest, HandsBackStatusAndBodyOfAnyReplyOnTheMainQueue) {
  const std::string binary("\x00\xff{not json", 11);
  const std::vector<std::tuple<std::string, int, std::string>> cases = {
      {reply(200, R"({"data":{}})", "Content-Type: application/json\r\n"), 200, R"({"data":{}})"},
      {reply(500, "database on fire"), 500, "database on fire"},
      {reply(200, binary), 200, binary},
      {reply(302, "moved", "Location: http://127.0.0.1:1/\r\n"), 302, "moved"},  // not followed
      {reply(204, ""), 204, ""},
  };
  for (const auto& [raw, status, body] : cases) {
    SCOPED_TRACE(raw);
    ScriptedServer server([&](const std::string&) { return raw; });
    Outcome outcome = exchange(requestTo(server.url("/graphql")));
    EXPECT_EQ(outcome.response.error, "");
    EXPECT_EQ(outcome.response.status, status);
    EXPECT_EQ(outcome.response.body, body);
    EXPECT_TRUE(outcome.onMainQueue);
    EXPECT_EQ(outcome.thread, std::this_thread::get_id());
  }
}

TEST_F(CurlHttpClientTest, SendsMethodHeadersAndBodyByteForByte) {
  ScriptedServer server([](const std::string&) { return reply(200, "{}"); });
  // Past 1 MiB, where curl would otherwise wait for a 100-continue.
  const std::string body =
      std::string("{\"q\":\"\xC3\xBC\"}\0\x01\xff", 13) + std::string(1100000, 'x');
  HttpRequest graphql = requestTo(server.url("/graphql?x=1"), "POST", body);
  graphql.headers = {{"Content-Type", "application/json"}, {"X-Key", "a: b"}, {"X-Empty", ""}};
  exchange(graphql);
  exchange(requestTo(server.url("/config"), "GET"));

  auto received = server.received();
  ASSERT_EQ(received.size(), 2u);
  const std::string& post = received[0];
  const std::string head = post.substr(0, post.find("\r\n\r\n") + 2);
  EXPECT_TRUE(head.starts_with("POST /graphql?x=1 HTTP/1.1\r\n")) << head;
  EXPECT_NE(head.find("\r\nContent-Type: application/json\r\n"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nX-Key: a: b\r\n"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nX-Empty:\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.find("Expect:"), std::string::npos) << head;
  EXPECT_TRUE(post.ends_with("\r\n\r\n" + body));
  EXPECT_TRUE(received[1].starts_with("GET /config HTTP/1.1\r\n")) << received[1];
  EXPECT_TRUE(received[1].ends_with("\r\n\r\n"));
}

TEST_F(CurlHttpClientTest, FailuresCarryCurlsMessageAndNoBody) {
  std::string closedPort;
  {
    ScriptedServer gone([](const std::string&) { return std::nullopt; });
    closedPort = gone.url("/");
  }
  ScriptedServer silent([](const std::string&) { return std::nullopt; });
  HttpRequest impatient = requestTo(silent.url("/"));
  impatient.timeout = 300ms;
  HttpRequest smuggling = requestTo(silent.url("/"));
  smuggling.headers = {{"X-Split", "a\r\nInjected: 1"}};

  Outcome refused = exchange(requestTo(closedPort));
  Outcome timedOut = exchange(impatient);
  Outcome header = exchange(smuggling);
  Outcome scheme = exchange(requestTo("file:///etc/passwd"));

  EXPECT_TRUE(refused.response.error.starts_with("Couldn't connect to server: "))
      << refused.response.error;
  EXPECT_TRUE(timedOut.response.error.starts_with("Timeout was reached: "))
      << timedOut.response.error;
  EXPECT_FALSE(header.response.error.empty());
  EXPECT_FALSE(scheme.response.error.empty());
  for (const auto* outcome : {&refused, &timedOut, &header, &scheme}) {
    EXPECT_EQ(outcome->response.status, 0);
    EXPECT_EQ(outcome->response.body, std::nullopt);
    EXPECT_TRUE(outcome->onMainQueue);
  }
  EXPECT_EQ(silent.received().size(), 1u) << "the header with a line break must not be sent";
}

TEST_F(CurlHttpClientTest, DestroyingTheClientCancelsWhatIsStillOpenExactlyOnce) {
  ScriptedServer silent([](const std::string&) { return std::nullopt; });
  std::vector<std::string> errors;
  std::vector<std::thread> senders;
  for (int i = 0; i < 3; ++i) {
    senders.emplace_back([&] {
      http->send(requestTo(silent.url("/")),
                 [&](HttpResponse response) { errors.push_back(response.error); });
    });
  }
  for (auto& sender : senders) sender.join();
  // At least one is on the wire before the client goes.
  ASSERT_TRUE(runMainLoopUntil([&] { return !silent.received().empty(); }, kPatience));
  http.reset();
  bool drained = false;
  main->async([&] { drained = true; });  // behind every completion posted so far
  ASSERT_TRUE(runMainLoopUntil([&] { return drained; }, kPatience));
  EXPECT_EQ(errors, (std::vector<std::string>(3, "cancelled")));
}

}  // namespace
}  // namespace vicinix
