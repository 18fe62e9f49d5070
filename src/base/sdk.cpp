#include "base/sdk.h"

#include <atomic>

#include "base/fatal.h"

namespace vicinix {
namespace {

std::mutex installMutex;
std::shared_ptr<Sdk> installedSdk;
std::atomic<Sdk*> currentSdk{nullptr};

}  // namespace

Sdk::Sdk(Platform platform, Options options)
    : platform_(std::move(platform)),
      options_(std::move(options)),
      mainQueue_(platform_.queues->mainQueue()) {}

Sdk::~Sdk() {
  std::lock_guard lock(sharedMutex_);
  while (!shared_.empty()) shared_.pop_back();
}

Sdk& Sdk::current() {
  Sdk* sdk = currentSdk.load(std::memory_order_acquire);
  if (sdk == nullptr) fatal("no Vicinix context is installed");
  return *sdk;
}

bool Sdk::isInstalled() {
  return currentSdk.load(std::memory_order_acquire) != nullptr;
}

std::shared_ptr<Sdk> Sdk::install(std::shared_ptr<Sdk> sdk) {
  std::lock_guard lock(installMutex);
  currentSdk.store(sdk.get(), std::memory_order_release);
  std::swap(installedSdk, sdk);
  return sdk;
}

std::shared_ptr<DispatchQueue> Sdk::makeSerialQueue(const std::string& label) {
  return platform_.queues->makeSerialQueue(label);
}

void Sdk::debug(std::string_view line) {
  if (debugging()) platform_.log->debugLine(line);
}

}  // namespace vicinix
