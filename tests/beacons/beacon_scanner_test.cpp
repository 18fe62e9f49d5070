#include "beacons/beacon_scanner.h"

#include <gtest/gtest.h>
#include <vicinix/notification_center.h>

#include <functional>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;
using State = BluetoothCentralState;
using Calls = std::vector<std::string>;

const PeripheralIdentifier kDeviceA{{0xA}}, kDeviceB{{0xB}};

ServiceDataMap uid(uint8_t instance, size_t length = 20) {
  std::vector<uint8_t> frame(length, 0);  // type 0x00, power and namespace 0
  if (length > 17) frame[17] = instance;
  return {{"FEAA", frame}};
}
const ServiceDataMap kTelemetry = {{"FEAA", {0x20, 0x00, 0x0B, 0xB8}}};

// The fixture is the delegate; it records each call as "what instance RSSI [tlm] [main] @ms".
class BeaconScannerTest : public ::testing::Test, public BeaconScannerDelegate {
 protected:
  FakeSdk env;
  Calls calls;
  std::function<void()> onLose;
  std::vector<bool> posts;
  std::unique_ptr<BeaconScanner> scanner;

  void didFindBeacon(BeaconScanner&, const BeaconInfo& info) override { add("find", info); }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& info) override {
    add("lose", info);
    if (auto hook = std::exchange(onLose, nullptr)) hook();
  }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override { add("update", info); }
  void didObserveURLBeacon(BeaconScanner&, const Url& URL, int) override { record(URL.text()); }
  void add(const char* what, const BeaconInfo& info) {
    record(std::string(what) + " " + info.beaconID().instance() + " " +
           std::to_string(info.RSSI()) + (info.telemetry() ? " tlm" : ""));
  }
  void record(std::string call) {
    if (env.time->mainQueue()->isCurrent()) call += " main";
    auto ms = std::chrono::duration_cast<milliseconds>(env.time->elapsed()).count();
    calls.push_back(call + " @" + std::to_string(ms));
  }

  void start() {
    scanner = std::make_unique<BeaconScanner>();
    scanner->setDelegate(std::shared_ptr<BeaconScannerDelegate>(this, [](auto*) {}));
    scanner->startScanning();
    env.time->runUntilIdle();
  }
  void see(const PeripheralIdentifier& device, std::optional<ServiceDataMap> data, int RSSI = -60) {
    env.bluetooth->advertise(device, std::move(data), RSSI);
    env.time->runUntilIdle();
  }
  void advanceTo(int ms) { env.time->advance(milliseconds(ms) - env.time->elapsed()); }
};

TEST_F(BeaconScannerTest, TelemetryGoesOnceToTheNextSightingOfItsOwnDevice) {
  start();
  see(kDeviceA, kTelemetry);
  see(kDeviceB, uid(1), -50);      // same identifier, other device
  see(kDeviceA, uid(1, 12), -51);  // truncated: the telemetry waits
  see(kDeviceA, uid(1), -52);      // carries it
  see(kDeviceA, uid(1), -53);      // spent
  see(kDeviceB, kTelemetry);
  see(kDeviceB, ServiceDataMap{{"FEAA", {0x30, 0xEE, 1, 2, 3, 4, 5, 6, 7, 8}}}, -54);
  EXPECT_EQ(calls, (Calls{"find 000000000001 -50 @0", "update 000000000001 -52 tlm @0",
                          "update 000000000001 -53 @0", "find  -54 tlm @0"}));
}

// Quiet for 15 s means lost, exactly once, told on the main queue with the
// first sighting's info; a sighting while the loss is told is a new find with
// its own timer.
TEST_F(BeaconScannerTest, LostOnceAfterFifteenQuietSeconds) {
  start();
  see(kDeviceA, uid(3), -40);
  advanceTo(14999);
  see(kDeviceA, uid(3), -41);
  advanceTo(29998);
  EXPECT_EQ(calls.size(), 2u);
  onLose = [&] { env.bluetooth->advertise(kDeviceA, uid(3), -42); };
  advanceTo(100000);
  EXPECT_EQ(calls, (Calls{"find 000000000003 -40 @0", "update 000000000003 -41 @14999",
                          "lose 000000000003 -40 main @29999", "find 000000000003 -42 @29999",
                          "lose 000000000003 -42 main @44999"}));
}

// Sightings do not move the timer; it re-arms itself for what is left of the
// quiet time, however many sightings came in between. Quiet time is not read
// off the wall clock: an NTP step forward with the beacon in range loses
// nothing, and one back does not stretch the wait.
TEST_F(BeaconScannerTest, LossComesTheTimeoutAfterTheLastSightingWhateverTheWallClockDoes) {
  start();
  for (int ms : {0, 7500, 14900, 29800}) {
    advanceTo(ms);
    see(kDeviceA, uid(5), -45);
  }
  advanceTo(100000);
  EXPECT_EQ(calls.back(), "lose 000000000005 -45 main @44800");

  calls.clear();
  see(kDeviceA, uid(6), -46);
  advanceTo(110000);
  see(kDeviceA, uid(6), -47);
  env.time->setNow(env.time->now() + std::chrono::hours(1));
  advanceTo(120000);
  see(kDeviceA, uid(6), -48);
  env.time->setNow(env.time->now() - std::chrono::hours(2));
  advanceTo(200000);
  EXPECT_EQ(calls,
            (Calls{"find 000000000006 -46 @100000", "update 000000000006 -47 @110000",
                   "update 000000000006 -48 @120000", "lose 000000000006 -46 main @135000"}));
}

// A sighting that lands as the timer fires cannot move the spent timer; the
// beacon must neither stay forever nor vanish.
TEST_F(BeaconScannerTest, SightingThatMeetsTheFiringTimerKeepsTheBeacon) {
  start();
  // Queued before the timer exists, so at 15 s it runs just before it fires.
  env.time->mainQueue()->asyncAfter(milliseconds(15000),
                                    [&] { env.bluetooth->advertise(kDeviceA, uid(4), -44); });
  see(kDeviceA, uid(4), -43);
  advanceTo(60000);
  EXPECT_EQ(calls, (Calls{"find 000000000004 -43 @0", "update 000000000004 -44 @15000",
                          "lose 000000000004 -43 main @30000"}));
}

TEST_F(BeaconScannerTest, ScanWaitsForPowerAndPowerLossPostsNothing) {
  NotificationCenter::defaultCenter().addObserver(
      BeaconScanner::kBluetoothStatusChangedNotification,
      [this](const auto& note) { posts.push_back(std::any_cast<bool>(note.object)); });
  auto power = [&](State state) {
    env.bluetooth->setState(state);
    env.time->runUntilIdle();
  };
  env.bluetooth->setState(State::poweredOff);
  start();
  EXPECT_EQ(posts, std::vector<bool>{false});
  EXPECT_TRUE(env.bluetooth->scanCalls().empty());

  power(State::poweredOn);
  EXPECT_EQ(posts, (std::vector<bool>{false, true}));
  EXPECT_EQ(env.bluetooth->scanCalls(),
            (std::vector<FakeBluetoothCentral::ScanCall>{{{"FEAA"}, true}}));
  power(State::poweredOff);
  EXPECT_EQ(posts.size(), 2u);
  power(State::poweredOn);
  EXPECT_EQ(env.bluetooth->scanCalls().size(), 2u) << "a waiting start is remembered for good";

  scanner->stopScanning();
  power(State::poweredOff);
  power(State::poweredOn);
  EXPECT_EQ(env.bluetooth->scanCalls().size(), 2u) << "stopScanning() forgets it";
}

TEST_F(BeaconScannerTest, AdvertisementsThatAreNotSightings) {
  start();
  env.log->clear();
  see(kDeviceA, std::nullopt);
  see(kDeviceA, ServiceDataMap{});
  see(kDeviceA, ServiceDataMap{{"FEAA", {0x40, 0x00}}});
  see(kDeviceA, ServiceDataMap{{"FEAA", {0x10, 0xEB, 0x03, 'v', 'i', 'c', 0x07}}});
  EXPECT_EQ(env.log->systemLines(),
            std::vector<std::string>{"Unable to find service data; can't process Eddystone"});
  EXPECT_EQ(calls, Calls{"https://vic.com @0"});
}

}  // namespace
}  // namespace vicinix
