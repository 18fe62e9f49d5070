#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/dispatch_queue.h"

namespace vicinix {

// Numbered as the phone platforms number them; the SDK only tells poweredOn apart.
enum class BluetoothCentralState : int {
  unknown = 0,
  resetting = 1,
  unsupported = 2,
  unauthorized = 3,
  poweredOff = 4,
  poweredOn = 5,
};

// Which radio sent an advertisement: a UUID the stack assigns per remote device.
struct PeripheralIdentifier {
  std::array<uint8_t, 16> bytes{};
  bool operator==(const PeripheralIdentifier&) const = default;
};

// Service data of one advertisement by service UUID text; the same type the
// Eddystone parsers read.
using ServiceDataMap = std::map<std::string, std::vector<uint8_t>>;

class BluetoothCentral;

// Receives a central's reports, always on the queue the central was made with.
class BluetoothCentralDelegate {
 public:
  virtual ~BluetoothCentralDelegate() = default;
  // The central's state() changed (or is known for the first time).
  virtual void centralManagerDidUpdateState(BluetoothCentral& central) = 0;
  // One advertisement while scanning. `serviceData` is absent when the
  // advertisement carried none. The references last for the call only.
  virtual void centralManagerDidDiscover(BluetoothCentral& central,
                                         const PeripheralIdentifier& peripheral,
                                         const std::optional<ServiceDataMap>& serviceData,
                                         int RSSI) = 0;
};

// The Bluetooth LE central role: scanning for advertisements. No delegate
// call starts after the central is destroyed, and destruction waits out one
// that is running on another thread.
class BluetoothCentral {
 public:
  virtual ~BluetoothCentral() = default;
  // The radio's current state. Any thread.
  virtual BluetoothCentralState state() const = 0;
  // Asks for (or changes the arguments of) a scan for advertisements of
  // `serviceUUIDs` ("FEAA" or the full form). With `allowDuplicates` every
  // packet is reported, not just the first per device. The scan runs
  // whenever the radio is poweredOn: a request lasts through power loss,
  // controller resets and restarts of the Bluetooth stack until stopScan(),
  // so a kiosk whose adapter drops out scans again once it is back. Any thread.
  virtual void scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                                  bool allowDuplicates) = 0;
  // Ends the scan; no-op when none runs. Any thread.
  virtual void stopScan() = 0;
};

// Makes a central reporting to `delegate` on `queue`. The delegate outlives it.
using BluetoothCentralFactory = std::function<std::unique_ptr<BluetoothCentral>(
    BluetoothCentralDelegate& delegate, std::shared_ptr<DispatchQueue> queue)>;

}  // namespace vicinix

template <>
struct std::hash<vicinix::PeripheralIdentifier> {
  size_t operator()(const vicinix::PeripheralIdentifier& id) const noexcept {
    // Stack-assigned identifiers are random enough that folding them is a fine hash.
    uint64_t high = 0, low = 0;
    for (size_t i = 0; i < 8; ++i) {
      high = (high << 8) | id.bytes[i];
      low = (low << 8) | id.bytes[i + 8];
    }
    return static_cast<size_t>(high ^ (low * 0x9E3779B97F4A7C15ull));
  }
};
