#include "support/linux_sdk.h"

#include <stdlib.h>
#include <sys/wait.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "platform/linux/linux_platform.h"

namespace vicinix::test {
namespace {

// Forwards to the real client with a shorter timeout on every request.
class ShortTimeoutHttpClient final : public HttpClient {
 public:
  ShortTimeoutHttpClient(std::shared_ptr<HttpClient> inner, std::chrono::milliseconds timeout)
      : inner_(std::move(inner)), timeout_(timeout) {}
  void send(HttpRequest request, Completion completion) override {
    request.timeout = timeout_;
    inner_->send(std::move(request), std::move(completion));
  }

 private:
  std::shared_ptr<HttpClient> inner_;
  std::chrono::milliseconds timeout_;
};

std::filesystem::path makeTemporaryDirectory(const char* prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / prefix).string() + "-XXXXXX";
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  return pattern;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

LinuxSdk::LinuxSdk(const std::string& endpoint,
                   std::optional<std::chrono::milliseconds> requestTimeout)
    : appData_(makeTemporaryDirectory("vicinix-linux-sdk")) {
  Platform platform = makeLinuxPlatform({.appData = appData_});
  if (requestTimeout) {
    platform.http = std::make_shared<ShortTimeoutHttpClient>(platform.http, *requestTimeout);
  }
  sdk_ = std::make_shared<Sdk>(std::move(platform), Sdk::Options{endpoint});
  scope_ = std::make_unique<ScopedSdk>(sdk_);
}

LinuxSdk::~LinuxSdk() {
  scope_.reset();
  sdk_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(appData_, ignored);
}

bool LinuxSdk::runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  return runMainLoopUntil(done, timeout);
}

CommandResult runCommand(const std::string& commandLine) {
  auto dir = makeTemporaryDirectory("vicinix-command");
  std::string full = commandLine + " >" + (dir / "out").string() + " 2>" + (dir / "err").string();
  int status = std::system(full.c_str());
  CommandResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = readFile(dir / "out");
  result.err = readFile(dir / "err");
  std::filesystem::remove_all(dir);
  return result;
}

}  // namespace vicinix::test
