#include "platform/linux/capture/advertising_data.h"

#include <algorithm>
#include <cstdio>

namespace vicinix {

namespace {

constexpr uint8_t kIncompleteUUID16List = 0x02;
constexpr uint8_t kCompleteUUID16List = 0x03;
constexpr uint8_t kServiceDataUUID16 = 0x16;

uint16_t littleEndian16(std::span<const uint8_t> bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

std::string uuidText(uint16_t uuid) {
  char text[5];
  std::snprintf(text, sizeof text, "%04X", uuid);
  return text;
}

}  // namespace

bool AdvertisingData::advertisesEddystone() const {
  return serviceData.contains(uuidText(kEddystoneUUID)) ||
         std::find(serviceUUIDs.begin(), serviceUUIDs.end(), kEddystoneUUID) != serviceUUIDs.end();
}

AdvertisingData AdvertisingData::parse(std::span<const uint8_t> data) {
  AdvertisingData result;
  while (!data.empty()) {
    size_t length = data[0];
    // Controllers pad short advertisements with zeros: nothing follows.
    if (length == 0) break;
    if (length + 1 > data.size()) {
      result.malformed = true;
      break;
    }
    uint8_t type = data[1];
    auto payload = data.subspan(2, length - 1);
    data = data.subspan(length + 1);

    if (type == kIncompleteUUID16List || type == kCompleteUUID16List) {
      if (payload.size() % 2 != 0) result.malformed = true;
      for (size_t i = 0; i + 1 < payload.size(); i += 2)
        result.serviceUUIDs.push_back(littleEndian16(payload.subspan(i)));
    } else if (type == kServiceDataUUID16) {
      if (payload.size() < 2) {
        result.malformed = true;
        continue;
      }
      // The first entry for a UUID wins, as a later duplicate is more likely noise.
      result.serviceData.emplace(uuidText(littleEndian16(payload)),
                                 std::vector<uint8_t>(payload.begin() + 2, payload.end()));
    }
  }
  return result;
}

}  // namespace vicinix
