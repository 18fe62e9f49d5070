#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "platform/linux/curl_http_client.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"
#include "support/loopback_http_server.h"

// Designated initializers below leave the other fields at their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

using test::LoopbackHttpServer;
using Server = LoopbackHttpServer;

std::string reply(int status, const std::string& body, const std::string& extraHeaders = "") {
  return LoopbackHttpServer::reply(status, body, extraHeaders);
}

class CurlHttpClientTest : public ::testing::Test {
 protected:
  // Sends and iterates the main context until the completion has run on it.
  HttpResponse exchange(HttpRequest request) {
    std::optional<HttpResponse> response;
    http->send(std::move(request), [&](HttpResponse answer) {
      EXPECT_TRUE(main->isCurrent());
      response = std::move(answer);
    });
    EXPECT_TRUE(runMainLoopUntil([&] { return response.has_value(); }, 10s));
    return response.value_or(HttpResponse{.error = "no completion"});
  }

  std::shared_ptr<DispatchQueue> main = makeGlibDispatchQueueFactory()->mainQueue();
  std::shared_ptr<HttpClient> http = makeCurlHttpClient(main);
};

TEST_F(CurlHttpClientTest, HandsBackStatusAndBodyOfAnyReply) {
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
    Server server(raw);
    HttpResponse response = exchange({.url = server.url()});
    EXPECT_EQ(response.error, "");
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(response.body, body);
  }
}

TEST_F(CurlHttpClientTest, SendsHeadersAndBodyByteForByte) {
  Server server(reply(200, "{}"));
  // Past 1 MiB, where curl would otherwise wait for a 100-continue.
  const std::string body =
      std::string("{\"q\":\"\xC3\xBC\"}\0\x01\xff", 13) + std::string(1100000, 'x');
  exchange({.url = server.url() + "/graphql?x=1",
            .headers = {{"Content-Type", "application/json"}, {"X-Key", "a: b"}, {"X-Empty", ""}},
            .body = body});

  auto received = server.received();
  ASSERT_EQ(received.size(), 1u);
  const std::string head = received[0].substr(0, received[0].size() - body.size());
  EXPECT_TRUE(head.starts_with("POST /graphql?x=1 HTTP/1.1\r\n")) << head;
  for (const char* line : {"\r\nContent-Type: application/json\r\n", "\r\nX-Key: a: b\r\n",
                           "\r\nX-Empty:\r\n", "\r\nContent-Length: 1100013\r\n"}) {
    EXPECT_NE(head.find(line), std::string::npos) << line << " is not in\n" << head;
  }
  EXPECT_EQ(head.find("Expect:"), std::string::npos) << head;
  EXPECT_TRUE(received[0].ends_with("\r\n\r\n" + body));
}

TEST_F(CurlHttpClientTest, FailuresCarryCurlsMessageAndNoBody) {
  std::string closedPort = Server(std::nullopt).url();
  Server silent(std::nullopt), answering(reply(200, "{}"));
  const std::vector<std::pair<HttpRequest, std::string>> cases = {
      {{.url = closedPort}, "Couldn't connect to server: "},
      {{.url = silent.url(), .timeout = 300ms}, "Timeout was reached: "},
      // A header with a line break in it is not sent at all.
      {{.url = answering.url(), .headers = {{"X-Split", "a\r\nInjected: 1"}}}, ""},
  };
  for (const auto& [request, error] : cases) {
    SCOPED_TRACE(request.url);
    HttpResponse response = exchange(request);
    EXPECT_TRUE(response.error.starts_with(error) && !response.error.empty()) << response.error;
    EXPECT_EQ(response.status, 0);
    EXPECT_EQ(response.body, std::nullopt);
  }
}

TEST_F(CurlHttpClientTest, FollowsAllowedRedirectsToWebUrlsOnlyAndWithoutTheCallersHeaders) {
  Server server([](const std::string& request) {
    std::string target = LoopbackHttpServer::targetOf(request);
    if (target == "/final") return reply(200, "done");
    std::string location = target == "/start"    ? "/final"
                           : target == "/passwd" ? "file:///etc/passwd"
                           : target == "/loop"   ? "/loop-again"
                           : target == "/loop-again"
                               ? "/loop"
                               : "/hop/" + std::to_string(std::stoi(target.substr(5)) + 1);
    return reply(302, "", "Location: " + location + "\r\n");
  });
  HttpResponse followed = exchange({.method = "GET",
                                    .url = server.url() + "/start",
                                    .headers = {{"X-Key", "secret"}},
                                    .maxRedirects = 5});
  EXPECT_EQ(followed.body, "done");
  auto received = server.received();
  ASSERT_EQ(received.size(), 2u);
  EXPECT_NE(received[0].find("secret"), std::string::npos);
  EXPECT_EQ(received[1].find("secret"), std::string::npos)
      << "the redirect target is another party";
  for (const auto& request : received)
    EXPECT_NE(request.find("\r\nUser-Agent: vicinix/1\r\n"), std::string::npos);

  for (auto [path, error] :
       {std::pair<std::string, std::string>{"/passwd",
                                            "redirect to a refused scheme: file:///etc/passwd"},
        {"/loop", "redirect loop at " + server.url() + "/loop"},
        {"/hop/1", "more redirects than allowed, the last to " + server.url() + "/hop/7"}}) {
    HttpResponse response =
        exchange({.method = "GET", .url = server.url() + path, .maxRedirects = 5});
    EXPECT_EQ(response.error, error);
    EXPECT_EQ(response.body, std::nullopt);
  }
}

}  // namespace
}  // namespace vicinix
