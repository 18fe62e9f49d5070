#include "beacons/beacon_scanner.h"

#include <gtest/gtest.h>

#include <functional>

#include "core/notification_center.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;
using State = BluetoothCentralState;

const PeripheralIdentifier kDeviceA{{0xA}};
const PeripheralIdentifier kDeviceB{{0xB}};

ServiceDataMap uid(uint8_t instance, size_t length = 20) {
  std::vector<uint8_t> frame = {0x00, 0xEE, 0xEC, 0xED, 0xD1, 0xEB, 0xEA, 0xC0,     0x4E, 0x5D,
                                0xEF, 0xA0, 0x00, 0x00, 0x00, 0x00, 0x00, instance, 0x00, 0x00};
  frame.resize(length);
  return {{"FEAA", frame}};
}
const ServiceDataMap kTelemetry = {
    {"0000feaa-0000-1000-8000-00805f9b34fb",
     {0x20, 0x00, 0x0B, 0xB8, 0x18, 0x80, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10}}};
const ServiceDataMap kEID = {{"FEAA", {0x30, 0xEE, 1, 2, 3, 4, 5, 6, 7, 8}}};
const ServiceDataMap kURL = {{"FEAA", {0x10, 0xEB, 0x03, 'v', 'i', 'c', 'i', 'n', 'i', 'x', 0x07}}};

struct Call {
  std::string what;  // "find", "update", "lose" or the URL
  std::string instance;
  int RSSI = 0;
  bool telemetry = false;
  bool onMainQueue = false;
  Duration at{};
  bool operator==(const Call&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Call& call) {
  return out << call.what << " " << call.instance << " rssi " << call.RSSI
             << (call.telemetry ? " +tlm" : "") << (call.onMainQueue ? " main" : " scanner")
             << " at " << milliseconds(std::chrono::duration_cast<milliseconds>(call.at)).count();
}

class Recorder final : public BeaconScannerDelegate {
 public:
  explicit Recorder(FakeSdk& env) : env_(env) {}
  void didFindBeacon(BeaconScanner&, const BeaconInfo& info) override { add("find", info); }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& info) override {
    add("lose", info);
    if (onLose) onLose();
  }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override { add("update", info); }
  void didObserveURLBeacon(BeaconScanner&, const Url& URL, int RSSI) override {
    calls.push_back({URL.text(), "", RSSI, false, onMain(), env_.time->elapsed()});
  }

  std::vector<Call> calls;
  std::function<void()> onLose;

 private:
  bool onMain() const { return env_.time->mainQueue()->isCurrent(); }
  void add(const char* what, const BeaconInfo& info) {
    calls.push_back({what, info.beaconID().instance(), info.RSSI(), info.telemetry() != nullptr,
                     onMain(), env_.time->elapsed()});
  }
  FakeSdk& env_;
};

class BeaconScannerTest : public ::testing::Test {
 protected:
  FakeSdk env;
  std::shared_ptr<Recorder> delegate = std::make_shared<Recorder>(env);
  std::unique_ptr<BeaconScanner> scanner;
  std::vector<bool> statusPosts;

  void SetUp() override {
    NotificationCenter::defaultCenter().addObserver(
        BeaconScanner::kBluetoothStatusChangedNotification,
        [this](const auto& note) { statusPosts.push_back(std::any_cast<bool>(note.object)); });
  }
  void start() {
    scanner = std::make_unique<BeaconScanner>();
    scanner->setDelegate(delegate);
    scanner->startScanning();
    env.time->runUntilIdle();
  }
  void see(const PeripheralIdentifier& device, std::optional<ServiceDataMap> data, int RSSI = -60) {
    env.bluetooth->advertise(device, std::move(data), RSSI);
    env.time->runUntilIdle();
  }
  void advanceTo(Duration at) { env.time->advance(at - env.time->elapsed()); }
  static Call found(std::string instance, int RSSI, Duration at, bool telemetry = false) {
    return {"find", std::move(instance), RSSI, telemetry, false, at};
  }
  static Call updated(std::string instance, int RSSI, Duration at, bool telemetry = false) {
    return {"update", std::move(instance), RSSI, telemetry, false, at};
  }
  static Call lost(std::string instance, int RSSI, Duration at, bool telemetry = false) {
    return {"lose", std::move(instance), RSSI, telemetry, true, at};
  }
};

TEST_F(BeaconScannerTest, TelemetryGoesOnceToTheNextSightingOfItsOwnDevice) {
  start();
  see(kDeviceA, kTelemetry);
  see(kDeviceB, uid(1), -50);      // same identifier, other device
  see(kDeviceA, uid(1, 12), -51);  // truncated: the telemetry waits
  see(kDeviceA, uid(1), -52);      // carries it
  see(kDeviceA, uid(1), -53);      // spent
  see(kDeviceB, kTelemetry);
  see(kDeviceB, kEID, -54);
  EXPECT_EQ(
      delegate->calls,
      (std::vector<Call>{found("000000000001", -50, {}), updated("000000000001", -52, {}, true),
                         updated("000000000001", -53, {}), found("", -54, {}, true)}));
  advanceTo(milliseconds(15000));
  ASSERT_EQ(delegate->calls.size(), 6u);
  EXPECT_EQ(delegate->calls[4], lost("000000000001", -50, milliseconds(15000)))
      << "the loss reports the first sighting, from the main queue";
}

TEST_F(BeaconScannerTest, LostExactlyOnceAfterTheTimeoutOfQuiet) {
  struct Case {
    std::vector<int> sightingsMs;
    int lostAtMs;
  };
  for (const Case& c : {Case{{0}, 15000}, Case{{0, 14999}, 29999},
                        Case{{0, 10000, 20000, 30000, 40000, 50000, 60000}, 75000}}) {
    FakeSdk env;
    auto delegate = std::make_shared<Recorder>(env);
    BeaconScanner scanner;
    scanner.setDelegate(delegate);
    scanner.startScanning();
    for (int at : c.sightingsMs) {
      env.time->advance(milliseconds(at) - env.time->elapsed());
      env.bluetooth->advertise(kDeviceA, uid(7), -60 - at / 1000);
      env.time->runUntilIdle();
    }
    auto sightings = c.sightingsMs.size();
    env.time->advance(milliseconds(c.lostAtMs - 1) - env.time->elapsed());
    EXPECT_EQ(delegate->calls.size(), sightings) << "not lost before " << c.lostAtMs;
    env.time->advance(milliseconds(60001));
    ASSERT_EQ(delegate->calls.size(), sightings + 1) << "lost at " << c.lostAtMs;
    EXPECT_EQ(delegate->calls.back(), lost("000000000007", -60, milliseconds(c.lostAtMs)));
  }
}

TEST_F(BeaconScannerTest, SightingAfterTheLossIsANewFind) {
  start();
  see(kDeviceA, uid(3), -40);
  advanceTo(milliseconds(15000));
  see(kDeviceA, uid(3), -41);
  see(kDeviceA, uid(3), -42);
  advanceTo(milliseconds(40000));
  EXPECT_EQ(delegate->calls, (std::vector<Call>{found("000000000003", -40, {}),
                                                lost("000000000003", -40, milliseconds(15000)),
                                                found("000000000003", -41, milliseconds(15000)),
                                                updated("000000000003", -42, milliseconds(15000)),
                                                lost("000000000003", -41, milliseconds(30000))}));
}

// A sighting that lands after the timer fired but before the loss is settled
// cannot move the spent timer; the beacon must neither stay forever nor vanish.
TEST_F(BeaconScannerTest, SightingThatMeetsTheFiringTimerKeepsTheBeacon) {
  start();
  // Queued before the timer exists, so at 15 s it runs just before it fires.
  env.time->mainQueue()->asyncAfter(milliseconds(15000),
                                    [&] { env.bluetooth->advertise(kDeviceA, uid(4), -44); });
  see(kDeviceA, uid(4), -43);
  advanceTo(milliseconds(60000));
  EXPECT_EQ(delegate->calls, (std::vector<Call>{found("000000000004", -43, {}),
                                                updated("000000000004", -44, milliseconds(15000)),
                                                lost("000000000004", -43, milliseconds(30000))}));
}

TEST_F(BeaconScannerTest, SightingWhileTheLossIsToldBecomesTheNextFind) {
  start();
  delegate->onLose = [&] {
    delegate->onLose = nullptr;
    env.bluetooth->advertise(kDeviceA, uid(5), -46);
  };
  see(kDeviceA, uid(5), -45);
  advanceTo(milliseconds(16000));
  EXPECT_EQ(delegate->calls, (std::vector<Call>{found("000000000005", -45, {}),
                                                lost("000000000005", -45, milliseconds(15000)),
                                                found("000000000005", -46, milliseconds(15000))}));
  advanceTo(milliseconds(31000));
  EXPECT_EQ(delegate->calls.size(), 4u) << "the new find has a timer of its own";
}

TEST_F(BeaconScannerTest, ScanWaitsForPowerAndPowerLossPostsNothing) {
  env.bluetooth->setState(State::poweredOff);
  start();
  EXPECT_EQ(statusPosts, std::vector<bool>{false});
  EXPECT_TRUE(env.bluetooth->scanCalls().empty());
  EXPECT_EQ(env.log->systemLines(),
            std::vector<std::string>{"CentralManager state is 4, cannot start scan"});

  env.bluetooth->setState(State::poweredOn);
  env.time->runUntilIdle();
  EXPECT_EQ(statusPosts, (std::vector<bool>{false, true}));
  EXPECT_EQ(env.bluetooth->scanCalls(),
            (std::vector<FakeBluetoothCentral::ScanCall>{{{"FEAA"}, true}}));
  EXPECT_EQ(env.log->systemLines().back(), "Starting to scan for Eddystones");

  env.bluetooth->setState(State::poweredOff);
  env.time->runUntilIdle();
  EXPECT_EQ(statusPosts.size(), 2u);
  env.bluetooth->setState(State::poweredOn);
  env.time->runUntilIdle();
  EXPECT_EQ(env.bluetooth->scanCalls().size(), 2u) << "a waiting start is remembered for good";

  scanner->stopScanning();
  env.bluetooth->setState(State::poweredOff);
  env.bluetooth->setState(State::poweredOn);
  env.time->runUntilIdle();
  EXPECT_EQ(env.bluetooth->scanCalls().size(), 2u) << "stopScanning() forgets it";
  EXPECT_EQ(env.bluetooth->stopScanCalls(), 1);
}

TEST_F(BeaconScannerTest, AdvertisementsThatAreNotSightings) {
  start();
  env.log->clear();
  see(kDeviceA, std::nullopt);
  see(kDeviceA, ServiceDataMap{});
  see(kDeviceA, ServiceDataMap{{"FEAA", {0x40, 0x00}}});
  see(kDeviceA, kURL, -70);
  EXPECT_EQ(env.log->systemLines(),
            std::vector<std::string>{"Unable to find service data; can't process Eddystone"});
  EXPECT_EQ(delegate->calls,
            (std::vector<Call>{{"https://vicinix.com", "", -70, false, false, {}}}));
}

}  // namespace
}  // namespace vicinix
