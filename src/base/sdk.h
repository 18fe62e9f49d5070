#pragma once

#include <vicinix/export.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <typeindex>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace vicinix {

// One running SDK: the platform services plus the process-wide shared
// instances (stores, managers, clients, appearance). Every shared() of the SDK
// reaches the installed context, so a test can build a fresh one from fakes and
// nothing survives from one test to the next.
class VICINIX_EXPORT Sdk {
 public:
  struct Options {
    std::string graphQLEndpoint = "https://api.vicinix.io/graphql";
  };

  Sdk(Platform platform, Options options);
  explicit Sdk(Platform platform) : Sdk(std::move(platform), Options{}) {}
  ~Sdk();
  Sdk(const Sdk&) = delete;
  Sdk& operator=(const Sdk&) = delete;

  // The installed context. Calling it with none installed is a programming error.
  static Sdk& current();
  static bool isInstalled();
  // Makes `sdk` the current context and returns the one it replaces.
  static std::shared_ptr<Sdk> install(std::shared_ptr<Sdk> sdk);

  DispatchQueue& mainQueue() { return *mainQueue_; }
  const std::shared_ptr<DispatchQueue>& mainQueuePtr() { return mainQueue_; }
  std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label);
  Clock& clock() { return *platform_.clock; }
  DefaultsStore& defaults() { return *platform_.defaults; }
  HttpClient& http() { return *platform_.http; }
  ReachabilityProbe& reachabilityProbe() { return *platform_.reachability; }
  LocationService& location() { return *platform_.location; }
  // A central of the platform's Bluetooth stack reporting to `delegate` on `queue`.
  std::unique_ptr<BluetoothCentral> makeBluetoothCentral(BluetoothCentralDelegate& delegate,
                                                         std::shared_ptr<DispatchQueue> queue) {
    return platform_.bluetooth(delegate, std::move(queue));
  }
  UserNotificationCenter& notifications() { return *platform_.notifications; }
  ImageCodec& images() { return *platform_.images; }
  Application& application() { return *platform_.application; }
  Log& log() { return *platform_.log; }
  // The screens' toolkit; null when the host shows no screens.
  Toolkit* toolkit() { return platform_.toolkit.get(); }
  const AppDirectories& directories() const { return platform_.directories; }
  const DeviceInfo& device() const { return platform_.device; }
  const std::string& graphQLEndpoint() const { return options_.graphQLEndpoint; }

  bool debugging() const { return debugging_.load(std::memory_order_relaxed); }
  void setDebugging(bool on) { debugging_.store(on, std::memory_order_relaxed); }
  // Prints `line` to the debug output while debugging is on.
  void debug(std::string_view line);

  // The context's one instance of T, built on first use as T(Sdk&). Instances
  // are destroyed with the context, newest first.
  template <class T>
  T& shared() {
    std::lock_guard lock(sharedMutex_);
    for (auto& [type, instance] : shared_) {
      if (type == std::type_index(typeid(T))) return *static_cast<T*>(instance.get());
    }
    auto instance = std::make_shared<T>(*this);
    T& reference = *instance;
    shared_.emplace_back(std::type_index(typeid(T)), std::move(instance));
    return reference;
  }

 private:
  Platform platform_;
  Options options_;
  std::shared_ptr<DispatchQueue> mainQueue_;
  std::atomic<bool> debugging_{false};
  std::recursive_mutex sharedMutex_;
  std::vector<std::pair<std::type_index, std::shared_ptr<void>>> shared_;
};

// Installs a context for the lifetime of the scope, then restores the previous one.
class ScopedSdk {
 public:
  explicit ScopedSdk(std::shared_ptr<Sdk> sdk) : previous_(Sdk::install(std::move(sdk))) {}
  ~ScopedSdk() { Sdk::install(std::move(previous_)); }
  ScopedSdk(const ScopedSdk&) = delete;
  ScopedSdk& operator=(const ScopedSdk&) = delete;

 private:
  std::shared_ptr<Sdk> previous_;
};

}  // namespace vicinix
