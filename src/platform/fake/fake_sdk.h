#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "base/sdk.h"
#include "platform/fake/fake_application.h"
#include "platform/fake/fake_bluetooth_central.h"
#include "platform/fake/fake_http_client.h"
#include "platform/fake/fake_image_codec.h"
#include "platform/fake/fake_location_service.h"
#include "platform/fake/fake_reachability_probe.h"
#include "platform/fake/fake_user_notification_center.h"
#include "platform/fake/memory_defaults_store.h"
#include "platform/fake/recording_log.h"
#include "platform/fake/virtual_time.h"

namespace vicinix {

// A fresh SDK context built from fakes, installed for the object's lifetime,
// by default with its own temporary app-data directory (removed afterwards):
//
//   FakeSdk env;
//   env.http->replyWith(R"({"data":{}})");
//   VicinixConfigurator::configure([] {});
//   env.time->advance(std::chrono::milliseconds(50));
class FakeSdk {
 public:
  // 2024-03-01 08:15:02.517 UTC, a Friday.
  static Date defaultStart();

  struct Options {
    Date start = defaultStart();  // where virtual time begins
    // Used as it is when given; otherwise a temporary directory, removed afterwards.
    std::optional<std::filesystem::path> appData{};
    // May swap services (say, a real HTTP client) before the context is built.
    std::function<void(Platform&)> customize{};
  };

  explicit FakeSdk(std::function<void(Platform&)> customize = {});
  explicit FakeSdk(Options options);
  ~FakeSdk();
  FakeSdk(const FakeSdk&) = delete;
  FakeSdk& operator=(const FakeSdk&) = delete;

  Sdk& sdk() { return *sdk_; }
  const std::filesystem::path& appData() const { return appData_; }

  std::shared_ptr<VirtualTime> time;
  std::shared_ptr<MemoryDefaultsStore> defaults;
  std::shared_ptr<FakeHttpClient> http;
  std::shared_ptr<FakeReachabilityProbe> reachability;
  std::shared_ptr<FakeLocationService> location;
  std::shared_ptr<FakeBluetoothCentral> bluetooth;  // powered on
  std::shared_ptr<FakeUserNotificationCenter> notifications;
  std::shared_ptr<FakeImageCodec> images;
  std::shared_ptr<FakeApplication> application;
  std::shared_ptr<RecordingLog> log;

 private:
  std::filesystem::path appData_;
  bool temporaryAppData_ = false;
  std::shared_ptr<Sdk> sdk_;
  std::unique_ptr<ScopedSdk> scope_;
};

}  // namespace vicinix
