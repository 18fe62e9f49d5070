#include "platform/fake/fake_bluetooth_central.h"

#include <gtest/gtest.h>

#include "platform/bluetooth_central_conformance.h"
#include "platform/fake/virtual_time.h"
#include "platform/linux/bluetooth_address.h"

namespace vicinix::conformance {
namespace {

// The fake on virtual time, naming peripherals as the Linux centrals do.
struct FakeCentralHarness {
  bool ready() const { return true; }
  std::unique_ptr<BluetoothCentral> makeCentral(BluetoothCentralDelegate& delegate) {
    return radio.factory()(delegate, queue);
  }
  void setPowered(bool on) {
    radio.setState(on ? BluetoothCentralState::poweredOn : BluetoothCentralState::poweredOff);
  }
  bool scanning() { return radio.isScanning(); }
  void advertise(const std::string& address, const ServiceDataMap& serviceData, int RSSI) {
    radio.advertise(BluetoothAddress::parse(address)->peripheralIdentifier(), serviceData, RSSI);
  }
  bool runUntil(const std::function<bool()>& done) { return time->runUntilIdle(), done(); }

  std::string why;
  std::shared_ptr<VirtualTime> time = VirtualTime::create(Date{});
  std::shared_ptr<DispatchQueue> queue = time->makeSerialQueue("delegate");
  FakeBluetoothCentral radio;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, BluetoothCentralConformance, FakeCentralHarness);

}  // namespace vicinix::conformance
