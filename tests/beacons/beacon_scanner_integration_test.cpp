#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "beacons/beacon_scanner.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/system_clock.h"

namespace vicinix {
namespace {

// Checks that each beacon alternates find, loss, find... across the two
// threads they are told on, and that every loss comes on the main queue.
struct Ledger final : BeaconScannerDelegate {
  explicit Ledger(std::shared_ptr<DispatchQueue> main) : main(std::move(main)) {}
  void didFindBeacon(BeaconScanner&, const BeaconInfo& info) override { step(info, false, 0, 1); }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& info) override { step(info, true, 1, 0); }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override { step(info, false, 1, 1); }
  void didObserveURLBeacon(BeaconScanner&, const Url&, int) override {}
  void step(const BeaconInfo& info, bool onMain, bool from, bool to) {
    std::lock_guard lock(mutex);
    bool& inRange = this->inRange[info.beaconID().instance()];
    if (main->isCurrent() != onMain || inRange != from) ++faults;
    inRange = to;
    finds += !from, losses += !to;
  }

  std::shared_ptr<DispatchQueue> main;
  std::mutex mutex;
  std::map<std::string, bool> inRange;
  std::atomic<int> finds{0}, losses{0}, faults{0};
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
      for (int i = 0; i < 1000; ++i) {
        std::vector<uint8_t> frame(18, 0);
        frame[17] = static_cast<uint8_t>(random() % 3);  // the instance
        env.bluetooth->advertise(PeripheralIdentifier{{static_cast<uint8_t>(t)}},
                                 ServiceDataMap{{"FEAA", frame}}, -60);
        if (random() % 8 == 0)
          std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
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
