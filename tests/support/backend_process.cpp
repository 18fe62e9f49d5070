#include "support/backend_process.h"

#include <curl/curl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace vicinix::test {
namespace {

size_t appendTo(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

}  // namespace

std::string blockingHttp(const std::string& url, const std::string* postBody) {
  CURL* curl = curl_easy_init();
  std::string reply;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 10000L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendTo);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
  curl_slist* headers = curl_slist_append(nullptr, "content-type: application/json");
  if (postBody) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, postBody->c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  }
  CURLcode result = curl_easy_perform(curl);
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  if (result != CURLE_OK) throw std::runtime_error("request to " + url + " failed");
  return reply;
}

BackendProcess::BackendProcess() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "vicinix-backend-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  workDir_ = pattern;
  std::string source = VICINIX_SOURCE_DIR;
  std::string out = (workDir_ / "stdout").string();
  std::string events = (workDir_ / "events.jsonl").string();

  pid_ = fork();
  if (pid_ == 0) {
    FILE* stdoutFile = std::freopen(out.c_str(), "w", stdout);
    FILE* stderrFile = std::freopen((workDir_ / "stderr").c_str(), "w", stderr);
    (void)stdoutFile;
    (void)stderrFile;
    execlp("node", "node", (source + "/backend/server.mjs").c_str(), "--port", "0", "--data",
           (source + "/backend/data/sample.json").c_str(), "--events", events.c_str(), nullptr);
    _exit(127);
  }
  for (int attempt = 0; attempt < 200 && endpoint_.empty(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
    FILE* file = std::fopen(out.c_str(), "r");
    if (!file) continue;
    char line[256] = {};
    if (std::fgets(line, sizeof line, file)) {
      std::string text(line);
      const std::string prefix = "listening on ";
      if (text.rfind(prefix, 0) == 0 && text.back() == '\n') {
        endpoint_ = text.substr(prefix.size(), text.size() - prefix.size() - 1);
      }
    }
    std::fclose(file);
  }
  if (endpoint_.empty()) throw std::runtime_error("the reference backend did not start");
}

BackendProcess::~BackendProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  std::filesystem::remove_all(workDir_, ignored);
}

std::string BackendProcess::adminUrl(const std::string& path) const {
  std::string base = endpoint_.substr(0, endpoint_.rfind("/graphql"));
  return base + "/_admin/" + path;
}

nlohmann::json BackendProcess::requests() const {
  return nlohmann::json::parse(blockingHttp(adminUrl("requests")));
}

nlohmann::json BackendProcess::events() const {
  return nlohmann::json::parse(blockingHttp(adminUrl("events")));
}

nlohmann::json BackendProcess::admin(const std::string& path, const nlohmann::json& body) const {
  std::string text = body.dump();
  return nlohmann::json::parse(blockingHttp(adminUrl(path), &text));
}

}  // namespace vicinix::test
