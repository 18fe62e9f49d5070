#include "platform/fake/fake_sdk.h"

#include <stdlib.h>

#include <system_error>

namespace vicinix {

Date FakeSdk::defaultStart() {
  using namespace std::chrono;
  return sys_days{year{2024} / March / 1} + hours{8} + minutes{15} + seconds{2} + milliseconds{517};
}

FakeSdk::FakeSdk(std::function<void(Platform&)> customize)
    : FakeSdk(Options{.customize = std::move(customize)}) {}

FakeSdk::FakeSdk(Options options)
    : time(VirtualTime::create(options.start)),
      defaults(std::make_shared<MemoryDefaultsStore>()),
      http(std::make_shared<FakeHttpClient>(time->mainQueue())),
      reachability(std::make_shared<FakeReachabilityProbe>()),
      location(std::make_shared<FakeLocationService>()),
      bluetooth(std::make_shared<FakeBluetoothCentral>(BluetoothCentralState::poweredOn)),
      notifications(std::make_shared<FakeUserNotificationCenter>(time->mainQueue())),
      images(std::make_shared<FakeImageCodec>()),
      application(std::make_shared<FakeApplication>()),
      log(std::make_shared<RecordingLog>()) {
  if (options.appData) {
    appData_ = *options.appData;
  } else {
    std::string pattern = (std::filesystem::temp_directory_path() / "vicinix-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::system_error(errno, std::generic_category());
    appData_ = pattern;
    temporaryAppData_ = true;
  }

  Platform platform{
      .queues = time,
      .clock = time,
      .defaults = defaults,
      .http = http,
      .reachability = reachability,
      .location = location,
      .bluetooth = bluetooth->factory(),
      .notifications = notifications,
      .images = images,
      .application = application,
      .log = log,
      .toolkit = nullptr,
      .directories = AppDirectories::under(appData_),
      .device = DeviceInfo{.model = "x86_64", .osVersion = "6.1.0-test"},
  };
  if (options.customize) options.customize(platform);
  sdk_ = std::make_shared<Sdk>(std::move(platform), Sdk::Options{"https://backend.test/graphql"});
  scope_ = std::make_unique<ScopedSdk>(sdk_);
}

FakeSdk::~FakeSdk() {
  scope_.reset();
  sdk_.reset();
  if (!temporaryAppData_) return;
  std::error_code ignored;
  std::filesystem::remove_all(appData_, ignored);
}

}  // namespace vicinix
