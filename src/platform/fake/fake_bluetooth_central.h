#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bluetooth_central.h"

namespace vicinix {

// A scripted Bluetooth radio. Every central made by factory() shares its
// state; advertisements reach the centrals that are scanning, each on its own
// delegate queue, in the order they were scripted. Scan calls are recorded.
class FakeBluetoothCentral {
 public:
  struct ScanCall {
    std::vector<std::string> serviceUUIDs;
    bool allowDuplicates = false;
    bool operator==(const ScanCall&) const = default;
  };

  explicit FakeBluetoothCentral(BluetoothCentralState state = BluetoothCentralState::poweredOff);
  ~FakeBluetoothCentral();
  FakeBluetoothCentral(const FakeBluetoothCentral&) = delete;
  FakeBluetoothCentral& operator=(const FakeBluetoothCentral&) = delete;

  // What Platform::bluetooth holds. The centrals may outlive this object.
  BluetoothCentralFactory factory();

  BluetoothCentralState state() const;
  // Every central's delegate hears of the change; scans asked for run while poweredOn.
  void setState(BluetoothCentralState state);
  // Reaches every scanning central, as if `peripheral` had advertised now.
  void advertise(const PeripheralIdentifier& peripheral, std::optional<ServiceDataMap> serviceData,
                 int RSSI);

  std::vector<ScanCall> scanCalls() const;
  int stopScanCalls() const;
  bool isScanning() const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace vicinix
