#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "beacons/beacon_scanner.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/system_clock.h"

namespace vicinix {
namespace {

ServiceDataMap uid(uint8_t instance) {
  return {{"FEAA",
           {0x00, 0xEE, 0xEC, 0xED, 0xD1, 0xEB, 0xEA, 0xC0, 0x4E, 0x5D, 0xEF, 0xA0, 0x00, 0x00,
            0x00, 0x00, 0x00, instance}}};
}

// Checks that each beacon alternates find, loss, find... across the two
// threads they are told on, and that every loss comes on the main queue.
class Ledger final : public BeaconScannerDelegate {
 public:
  explicit Ledger(std::shared_ptr<DispatchQueue> main) : main_(std::move(main)) {}
  void didFindBeacon(BeaconScanner&, const BeaconInfo& info) override {
    std::lock_guard lock(mutex_);
    if (main_->isCurrent() || !inRange_.insert(info.beaconID().instance()).second) ++faults;
    ++finds;
  }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& info) override {
    std::lock_guard lock(mutex_);
    if (!main_->isCurrent() || inRange_.erase(info.beaconID().instance()) != 1) ++faults;
    ++losses;
  }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override {
    std::lock_guard lock(mutex_);
    if (main_->isCurrent() || !inRange_.contains(info.beaconID().instance())) ++faults;
    ++updates;
  }
  void didObserveURLBeacon(BeaconScanner&, const Url&, int) override {}

  std::atomic<int> finds{0}, losses{0}, updates{0}, faults{0};

 private:
  std::shared_ptr<DispatchQueue> main_;
  std::mutex mutex_;
  std::set<std::string> inRange_;
};

TEST(BeaconScannerIntegrationTest, SightingsRacingLostTimersOnGlibQueues) {
  FakeSdk env([](Platform& platform) {
    platform.queues = makeGlibDispatchQueueFactory();
    platform.clock = makeSystemClock();
  });
  auto ledger = std::make_shared<Ledger>(env.sdk().mainQueuePtr());
  auto scanner = std::make_unique<BeaconScanner>(0.004);
  scanner->setDelegate(ledger);
  scanner->startScanning();
  ASSERT_TRUE(
      runMainLoopUntil([&] { return env.bluetooth->isScanning(); }, std::chrono::seconds(5)));

  // Pauses around the timeout so that sightings keep meeting timers that fire.
  std::atomic<int> running{4};
  std::vector<std::thread> advertisers;
  for (int t = 0; t < 4; ++t) {
    advertisers.emplace_back([&, t] {
      std::mt19937 random(t);
      for (int i = 0; i < 1500; ++i) {
        env.bluetooth->advertise(PeripheralIdentifier{{static_cast<uint8_t>(t)}},
                                 uid(static_cast<uint8_t>(random() % 3)), -60);
        if (random() % 8 == 0) {
          std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
        }
      }
      --running;
    });
  }
  bool settled = runMainLoopUntil(
      [&] { return running == 0 && ledger->finds > 0 && ledger->finds == ledger->losses; },
      std::chrono::seconds(60));
  for (auto& advertiser : advertisers) advertiser.join();
  EXPECT_TRUE(settled) << ledger->finds << " finds, " << ledger->losses << " losses";
  EXPECT_EQ(ledger->faults, 0);
  EXPECT_GT(ledger->losses, 3) << "timers should have fired between bursts";
  scanner.reset();
}

}  // namespace
}  // namespace vicinix
