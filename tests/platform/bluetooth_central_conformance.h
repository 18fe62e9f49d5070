#pragma once

// What every BluetoothCentral promises, run against each implementation. A
// harness type provides:
//   bool ready(); std::string why;       // false (with the reason) to skip
//   std::unique_ptr<BluetoothCentral> makeCentral(BluetoothCentralDelegate&);
//   void setPowered(bool on);            // switches the radio; centrals hear later
//   bool scanning();                     // the radio scans for the central now
//   void advertise(const std::string& address, const ServiceDataMap& serviceData, int RSSI);
//   bool runUntil(std::function<bool()> done);  // drives the delegate's queue, bounded

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
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
    std::lock_guard lock(mutex_);
    return states_.empty() ? std::nullopt : std::optional(states_.back());
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
  bool runUntilDiscoveries(size_t count) {
    return harness.runUntil([&] { return recorder.discoveries().size() >= count; });
  }

  void powerOnAndScan() {
    harness.setPowered(true);
    ASSERT_TRUE(runUntilState(State::poweredOn));
    central->scanForPeripherals({"FEAA"}, true);
    ASSERT_TRUE(harness.runUntil([&] { return harness.scanning(); }));
  }

  // Every discovery sent before a later state change, once that change is
  // through: a central reports in order, so nothing older is still on its way.
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

TYPED_TEST_P(BluetoothCentralConformance, ReportsAdvertisementsWhileScanningAndNoneAfterStop) {
  this->powerOnAndScan();
  this->harness.advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, -61);
  ASSERT_TRUE(this->runUntilDiscoveries(1));
  auto discovery = this->recorder.discoveries()[0];
  EXPECT_EQ(discovery.serviceData, (ServiceDataMap{{"FEAA", kUIDFrame}}));
  EXPECT_EQ(discovery.RSSI, -61);

  this->central->stopScan();
  ASSERT_TRUE(this->harness.runUntil([&] { return !this->harness.scanning(); }));
  this->harness.advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, -62);
  EXPECT_EQ(this->discoveriesBehindPowerOff(), 1u);
}

TYPED_TEST_P(BluetoothCentralConformance, IgnoresAScanAskedForBeforePowerOn) {
  this->central->scanForPeripherals({"FEAA"}, true);
  this->harness.setPowered(true);
  ASSERT_TRUE(this->runUntilState(BluetoothCentralState::poweredOn));
  EXPECT_FALSE(this->harness.scanning());
  this->harness.advertise("C0:FF:EE:00:00:02", {{"FEAA", kUIDFrame}}, -70);
  EXPECT_EQ(this->discoveriesBehindPowerOff(), 0u);
}

TYPED_TEST_P(BluetoothCentralConformance, APowerLossEndsTheScanForGood) {
  using State = BluetoothCentralState;
  this->powerOnAndScan();
  this->harness.setPowered(false);
  ASSERT_TRUE(this->runUntilState(State::poweredOff));
  this->harness.setPowered(true);
  ASSERT_TRUE(this->runUntilState(State::poweredOn));
  this->harness.advertise("C0:FF:EE:00:00:03", {{"FEAA", kUIDFrame}}, -55);
  EXPECT_EQ(this->discoveriesBehindPowerOff(), 0u);
  EXPECT_EQ(this->recorder.states(),
            (std::vector<State>{State::poweredOff, State::poweredOn, State::poweredOff,
                                State::poweredOn, State::poweredOff}));
}

REGISTER_TYPED_TEST_SUITE_P(BluetoothCentralConformance,
                            ReportsAdvertisementsWhileScanningAndNoneAfterStop,
                            IgnoresAScanAskedForBeforePowerOn, APowerLossEndsTheScanForGood);

}  // namespace vicinix::conformance
