#include "host_context.h"

#include "platform/linux/linux_platform.h"

namespace vicinix::host {

std::filesystem::path defaultDataDirectory() {
  return defaultAppDataDirectory("vicinix-host");
}

HostContext::HostContext(const std::filesystem::path& appData, const std::string& endpoint,
                         bool debug)
    : HostContext(makeLinuxPlatform({.appData = appData}), endpoint, debug) {}

HostContext::HostContext(Platform platform, const std::string& endpoint, bool debug) {
  http_ = std::make_shared<ObservedHttpClient>(platform.http);
  platform.http = http_;
  Sdk::Options options;
  if (!endpoint.empty()) options.graphQLEndpoint = endpoint;
  sdk_ = std::make_shared<Sdk>(std::move(platform), options);
  sdk_->setDebugging(debug);
  scope_ = std::make_unique<ScopedSdk>(sdk_);
}

HostContext::~HostContext() {
  scope_.reset();
  sdk_.reset();
}

bool HostContext::runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  return runMainLoopUntil(done, timeout);
}

void HostContext::runFor(std::chrono::milliseconds duration) {
  auto end = std::chrono::steady_clock::now() + duration;
  runUntil([end] { return std::chrono::steady_clock::now() >= end; }, duration * 2);
}

}  // namespace vicinix::host
