#pragma once

// What every BluetoothCentral promises, run against each implementation. A
// harness provides: ready() and `why` (to skip); makeCentral(delegate);
// setPowered(on), heard by centrals later; scanning(), whether the radio scans
// now; advertise(address, serviceData, RSSI); runUntil(done), bounded.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/bluetooth_central.h"

namespace vicinix::conformance {

// Keeps what a central told its delegate, from whichever thread.
class CentralRecorder : public BluetoothCentralDelegate {
 public:
  struct Discovery {
    PeripheralIdentifier peripheral;
    std::optional<ServiceDataMap> serviceData;
    int RSSI = 0;
    bool operator==(const Discovery&) const = default;
  };

  void centralManagerDidUpdateState(BluetoothCentral& central) override {
    std::lock_guard lock(mutex_);
    states_.push_back(central.state());
  }
  void centralManagerDidDiscover(BluetoothCentral&, const PeripheralIdentifier& peripheral,
                                 const std::optional<ServiceDataMap>& serviceData,
                                 int RSSI) override {
    std::lock_guard lock(mutex_);
    discoveries_.push_back({peripheral, serviceData, RSSI});
  }

  std::vector<BluetoothCentralState> states() const {
    std::lock_guard lock(mutex_);
    return states_;
  }
  std::optional<BluetoothCentralState> lastState() const {
    auto all = states();
    return all.empty() ? std::nullopt : std::optional(all.back());
  }
  std::vector<Discovery> discoveries() const {
    std::lock_guard lock(mutex_);
    return discoveries_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<BluetoothCentralState> states_;
  std::vector<Discovery> discoveries_;
};

// Polls `done` on the wall clock for up to 10 s.
inline bool pollUntil(const std::function<bool()>& done) {
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

// An Eddystone UID frame: namespace 00..09, instance 0a..0f.
inline const std::vector<uint8_t> kUIDFrame = {0x00, 0xe7, 0x00, 0x01, 0x02, 0x03, 0x04,
                                               0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b,
                                               0x0c, 0x0d, 0x0e, 0x0f, 0x00, 0x00};

template <class Harness>
class BluetoothCentralConformance : public ::testing::Test {
 protected:
  using State = BluetoothCentralState;

  void SetUp() override {
    if (!harness.ready()) GTEST_SKIP() << harness.why;
    harness.setPowered(false);
    central = harness.makeCentral(recorder);
    ASSERT_TRUE(runUntilState(State::poweredOff));
  }
  bool runUntilState(State state) {
    return harness.runUntil([&] { return recorder.lastState() == state; });
  }
  void advertise(int RSSI) { harness.advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, RSSI); }
  void powerOnAndScan() {
    harness.setPowered(true);
    ASSERT_TRUE(runUntilState(State::poweredOn));
    central->scanForPeripherals({"FEAA"}, true);
    ASSERT_TRUE(harness.runUntil([&] { return harness.scanning(); }));
  }
  // A central reports in order: once a later power-off is through, nothing
  // older is still on its way.
  size_t discoveriesBehindPowerOff() {
    harness.setPowered(false);
    EXPECT_TRUE(runUntilState(State::poweredOff));
    return recorder.discoveries().size();
  }

  Harness harness;
  CentralRecorder recorder;
  std::unique_ptr<BluetoothCentral> central;
};

TYPED_TEST_SUITE_P(BluetoothCentralConformance);

// A scan asked for runs whenever the radio is on, until stopScan(); a new
// start may begin with the beacons in range, so the counts are of reports
// after each point.
TYPED_TEST_P(BluetoothCentralConformance, ScansThroughPowerCyclesUntilStopScan) {
  using State = BluetoothCentralState;
  this->powerOnAndScan();
  this->advertise(-61);
  ASSERT_TRUE(this->harness.runUntil([&] { return !this->recorder.discoveries().empty(); }));
  auto discovery = this->recorder.discoveries()[0];
  EXPECT_EQ(discovery.serviceData, (ServiceDataMap{{"FEAA", kUIDFrame}}));
  EXPECT_EQ(discovery.RSSI, -61);

  this->discoveriesBehindPowerOff();
  this->harness.setPowered(true);
  ASSERT_TRUE(this->runUntilState(State::poweredOn));
  ASSERT_TRUE(this->harness.runUntil([&] { return this->harness.scanning(); }));
  this->advertise(-55);
  ASSERT_TRUE(
      this->harness.runUntil([&] { return this->recorder.discoveries().back().RSSI == -55; }));

  this->central->stopScan();
  ASSERT_TRUE(this->harness.runUntil([&] { return !this->harness.scanning(); }));
  this->advertise(-62);
  size_t heard = this->discoveriesBehindPowerOff();
  this->harness.setPowered(true);
  ASSERT_TRUE(this->runUntilState(State::poweredOn));
  EXPECT_FALSE(this->harness.scanning());
  this->advertise(-50);
  EXPECT_EQ(this->discoveriesBehindPowerOff(), heard);
  EXPECT_EQ(
      this->recorder.states(),
      (std::vector<State>{State::poweredOff, State::poweredOn, State::poweredOff, State::poweredOn,
                          State::poweredOff, State::poweredOn, State::poweredOff}));
}

TYPED_TEST_P(BluetoothCentralConformance, StartsAScanAskedForBeforePowerOnWithThePower) {
  this->central->scanForPeripherals({"FEAA"}, true);
  EXPECT_FALSE(this->harness.scanning());
  this->harness.setPowered(true);
  ASSERT_TRUE(this->harness.runUntil([&] { return this->harness.scanning(); }));
  this->advertise(-70);
  EXPECT_EQ(this->discoveriesBehindPowerOff(), 1u);
}

REGISTER_TYPED_TEST_SUITE_P(BluetoothCentralConformance, ScansThroughPowerCyclesUntilStopScan,
                            StartsAScanAskedForBeforePowerOnWithThePower);

}  // namespace vicinix::conformance
