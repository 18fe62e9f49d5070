#pragma once

#include <array>
#include <cstdint>

#include "platform/bluetooth_central.h"

namespace vicinix {

// The identifier a Linux central reports for a device: the name-based (SHA-1)
// UUID of its Bluetooth address, so a device keeps one identifier across runs
// and across centrals. `address` is least significant byte first, as HCI sends
// it; the name hashed is the address as BlueZ writes it, "C0:FF:EE:00:00:01".
PeripheralIdentifier peripheralIdentifierForAddress(const std::array<uint8_t, 6>& address);

}  // namespace vicinix
