#include "platform/linux/curl_http_client.h"

#include <curl/curl.h>

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "core/sdk_version.h"

namespace vicinix {
namespace {

// Far above any reply the backend sends; a runaway server must not exhaust memory.
constexpr size_t kMaxBodyBytes = size_t{64} << 20;
constexpr long kDefaultTimeoutMs = 60000;
const std::string kUserAgent = "vicinix/" + std::to_string(kSdkVersion);

struct Transfer {
  HttpRequest request;
  HttpClient::Completion completion;
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  std::string body;
  bool bodyTooLarge = false;
  char errorBuffer[CURL_ERROR_SIZE] = {};
  // Every URL this request has been sent to, the first included.
  std::set<std::string> visited;

  ~Transfer() {
    curl_slist_free_all(headers);
    if (easy != nullptr) curl_easy_cleanup(easy);
  }
};

size_t appendBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  size_t bytes = size * count;
  if (transfer->body.size() + bytes > kMaxBodyBytes) {
    transfer->bodyTooLarge = true;
    return 0;  // makes curl stop with CURLE_WRITE_ERROR
  }
  transfer->body.append(data, bytes);
  return bytes;
}

bool hasLineBreak(const std::string& text) {
  return text.find_first_of("\r\n") != text.npos;
}

// Empty when the handle is ready; otherwise why the request cannot be sent.
std::string prepare(Transfer& transfer) {
  const HttpRequest& request = transfer.request;
  transfer.easy = curl_easy_init();
  if (transfer.easy == nullptr) return "could not create a curl handle";
  CURL* easy = transfer.easy;

  for (const auto& [name, value] : request.headers) {
    // A line break would let a value smuggle in headers of its own.
    if (name.empty() || hasLineBreak(name) || hasLineBreak(value)) {
      return "invalid header \"" + name + "\"";
    }
    // "Name;" is curl's way to send a header with an empty value.
    std::string line = value.empty() ? name + ";" : name + ": " + value;
    transfer.headers = curl_slist_append(transfer.headers, line.c_str());
  }
  // curl would otherwise hold bodies over 1 MiB back for a 100-continue.
  transfer.headers = curl_slist_append(transfer.headers, "Expect:");

  long timeoutMs =
      request.timeout.count() > 0 ? static_cast<long>(request.timeout.count()) : kDefaultTimeoutMs;
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMs);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  // Redirects are followed by hand (see followRedirect), header by header.
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_USERAGENT, kUserAgent.c_str());
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.errorBuffer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, appendBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);

  if (request.method == "GET") {
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
  } else if (request.method == "HEAD") {
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  } else {
    // The request outlives the handle, so curl may point into its body.
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    if (request.method != "POST") {
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    }
  }
  return {};
}

std::string describe(const Transfer& transfer, CURLcode code) {
  if (transfer.bodyTooLarge) return "response body larger than 64 MiB";
  std::string text = curl_easy_strerror(code);
  if (transfer.errorBuffer[0] != '\0') text.append(": ").append(transfer.errorBuffer);
  return text;
}

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// "http" or "https" when `url` is absolute and of one of those schemes.
bool isWebUrl(const char* url) {
  CURLU* parsed = curl_url();
  char* scheme = nullptr;
  bool web = curl_url_set(parsed, CURLUPART_URL, url, 0) == CURLUE_OK &&
             curl_url_get(parsed, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
             (std::string_view(scheme) == "http" || std::string_view(scheme) == "https");
  curl_free(scheme);
  curl_url_cleanup(parsed);
  return web;
}

void initCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

class CurlHttpClient final : public HttpClient {
 public:
  explicit CurlHttpClient(std::shared_ptr<DispatchQueue> mainQueue)
      : mainQueue_(std::move(mainQueue)) {
    initCurlOnce();
    multi_ = curl_multi_init();
    worker_ = std::thread([this] { run(); });
  }

  ~CurlHttpClient() override {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    curl_multi_wakeup(multi_);
    worker_.join();
    curl_multi_cleanup(multi_);
  }

  // Any thread. The transfer starts on the worker at its next wake-up.
  void send(HttpRequest request, Completion completion) override {
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->completion = std::move(completion);
    {
      std::lock_guard lock(mutex_);
      pending_.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi_);
  }

 private:
  void run() {
    std::map<CURL*, std::unique_ptr<Transfer>> active;
    for (;;) {
      std::deque<std::unique_ptr<Transfer>> incoming;
      bool stopping;
      {
        std::lock_guard lock(mutex_);
        incoming.swap(pending_);
        stopping = stopping_;
      }
      if (stopping) {
        for (auto& transfer : incoming) fail(std::move(transfer), "cancelled");
        for (auto& [easy, transfer] : active) {
          curl_multi_remove_handle(multi_, easy);
          fail(std::move(transfer), "cancelled");
        }
        return;
      }
      for (auto& transfer : incoming) start(std::move(transfer), active);

      int running = 0;
      curl_multi_perform(multi_, &running);
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        CURL* easy = message->easy_handle;
        CURLcode code = message->data.result;  // `message` dies with remove_handle
        auto node = active.extract(easy);
        curl_multi_remove_handle(multi_, easy);
        if (!node.empty()) finish(std::move(node.mapped()), code, active);
      }
      // Returns early for socket activity, curl's own timers or curl_multi_wakeup().
      curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
  }

  void start(std::unique_ptr<Transfer> transfer,
             std::map<CURL*, std::unique_ptr<Transfer>>& active) {
    std::string problem = prepare(*transfer);
    if (problem.empty() && curl_multi_add_handle(multi_, transfer->easy) != CURLM_OK) {
      problem = "could not start the transfer";
    }
    if (!problem.empty()) {
      fail(std::move(transfer), std::move(problem));
      return;
    }
    CURL* easy = transfer->easy;
    active.emplace(easy, std::move(transfer));
  }

  void finish(std::unique_ptr<Transfer> transfer, CURLcode code,
              std::map<CURL*, std::unique_ptr<Transfer>>& active) {
    if (code != CURLE_OK) {
      std::string error = describe(*transfer, code);
      fail(std::move(transfer), std::move(error));
      return;
    }
    long status = 0;
    curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &status);
    // A redirect after the last one allowed is an error, not an answer.
    bool following = transfer->request.maxRedirects > 0 || !transfer->visited.empty();
    if (isRedirect(status) && following) {
      followRedirect(std::move(transfer), status, active);
      return;
    }
    HttpResponse response;
    response.status = static_cast<int>(status);
    response.body = std::move(transfer->body);
    complete(*transfer, std::move(response));
  }

  // Sends the request on to where the reply points, as a new transfer
  // without the caller's headers. A reply without a Location is the answer.
  void followRedirect(std::unique_ptr<Transfer> transfer, long status,
                      std::map<CURL*, std::unique_ptr<Transfer>>& active) {
    char* location = nullptr;  // absolute, resolved by curl against the URL
    curl_easy_getinfo(transfer->easy, CURLINFO_REDIRECT_URL, &location);
    if (location == nullptr) {
      HttpResponse response;
      response.status = static_cast<int>(status);
      response.body = std::move(transfer->body);
      complete(*transfer, std::move(response));
      return;
    }
    std::string target = location;
    // file:, ftp:, data: and the like would read what no web server may name.
    if (!isWebUrl(target.c_str())) {
      fail(std::move(transfer), "redirect to a refused scheme: " + target);
      return;
    }
    transfer->visited.insert(transfer->request.url);
    if (transfer->visited.contains(target)) {
      fail(std::move(transfer), "redirect loop at " + target);
      return;
    }
    if (transfer->request.maxRedirects <= 0) {
      fail(std::move(transfer), "more redirects than allowed, the last to " + target);
      return;
    }
    auto next = std::make_unique<Transfer>();
    next->request = std::move(transfer->request);
    next->completion = std::move(transfer->completion);
    next->visited = std::move(transfer->visited);
    next->request.url = std::move(target);
    next->request.headers.clear();
    next->request.maxRedirects -= 1;
    // Browsers turn a POST into a GET on 301 and 302; 303 says so outright.
    if (status == 303 || ((status == 301 || status == 302) && next->request.method == "POST")) {
      if (next->request.method != "HEAD") next->request.method = "GET";
      next->request.body.clear();
    }
    start(std::move(next), active);
  }

  void fail(std::unique_ptr<Transfer> transfer, std::string error) {
    HttpResponse response;
    response.error = std::move(error);
    complete(*transfer, std::move(response));
  }

  void complete(Transfer& transfer, HttpResponse response) {
    mainQueue_->async(
        [completion = std::move(transfer.completion), response = std::move(response)]() mutable {
          completion(std::move(response));
        });
  }

  std::shared_ptr<DispatchQueue> mainQueue_;
  CURLM* multi_ = nullptr;
  std::mutex mutex_;
  std::deque<std::unique_ptr<Transfer>> pending_;
  bool stopping_ = false;
  std::thread worker_;
};

}  // namespace

std::shared_ptr<HttpClient> makeCurlHttpClient(std::shared_ptr<DispatchQueue> mainQueue) {
  return std::make_shared<CurlHttpClient>(std::move(mainQueue));
}

}  // namespace vicinix
