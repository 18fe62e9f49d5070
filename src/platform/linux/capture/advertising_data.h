#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "beacons/beacon_info.h"

namespace vicinix {

// What the scanner needs from an advertisement's AD structures: the 16-bit
// service UUIDs it lists and its 16-bit service data, keyed like "FEAA".
struct AdvertisingData {
  static constexpr uint16_t kEddystoneUUID = 0xfeaa;

  std::vector<uint16_t> serviceUUIDs;
  ServiceDataMap serviceData;
  // Something did not fit; whatever came before it is still here.
  bool malformed = false;

  bool advertisesEddystone() const;

  static AdvertisingData parse(std::span<const uint8_t> data);
};

}  // namespace vicinix
