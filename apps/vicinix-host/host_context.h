#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/observed_http_client.h"
#include "base/sdk.h"

namespace vicinix::host {

// The SDK context of one vicinix-host command: the Linux platform with the
// host's app-data directory and endpoint, installed for the command's run.
class HostContext {
 public:
  HostContext(const std::filesystem::path& appData, const std::string& endpoint, bool debug);
  // With a platform the command has already put together.
  HostContext(Platform platform, const std::string& endpoint, bool debug);
  ~HostContext();

  Sdk& sdk() { return *sdk_; }
  ObservedHttpClient& http() { return *http_; }

  // Runs the main loop until `done` holds or `timeout` passes; false on timeout.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);
  // Runs the main loop for `duration`, whatever happens.
  void runFor(std::chrono::milliseconds duration);

 private:
  std::shared_ptr<ObservedHttpClient> http_;
  std::shared_ptr<Sdk> sdk_;
  std::unique_ptr<ScopedSdk> scope_;
};

std::filesystem::path defaultDataDirectory();

}  // namespace vicinix::host
