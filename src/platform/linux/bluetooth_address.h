#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bluetooth_central.h"

namespace vicinix {

// A device's 48-bit Bluetooth address, and the peripheral identifier every
// Linux central gives that device: the same address yields the same
// identifier whichever central, adapter or process saw it.
struct BluetoothAddress {
  std::array<uint8_t, 6> bytes{};  // most significant first, as written

  // "AA:BB:CC:DD:EE:FF" in either case.
  static std::optional<BluetoothAddress> parse(std::string_view text);
  // The least-significant-first order of HCI packets.
  static BluetoothAddress fromLittleEndian(const std::array<uint8_t, 6>& address);

  std::string text() const;
  PeripheralIdentifier peripheralIdentifier() const;

  bool operator==(const BluetoothAddress&) const = default;
};

}  // namespace vicinix
