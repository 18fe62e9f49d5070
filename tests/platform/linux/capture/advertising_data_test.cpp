#include "platform/linux/capture/advertising_data.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace vicinix {
namespace {

std::string describe(const AdvertisingData& parsed) {
  std::string text;
  char hex[8];
  for (uint16_t uuid : parsed.serviceUUIDs)
    std::snprintf(hex, sizeof hex, "%04X ", uuid), text += hex;
  for (const auto& [uuid, data] : parsed.serviceData) {
    text += uuid + "=";
    for (uint8_t b : data) std::snprintf(hex, sizeof hex, "%02X", b), text += hex;
    text += " ";
  }
  return text + (parsed.advertisesEddystone() ? "eddystone" : "-") +
         (parsed.malformed ? " malformed" : "");
}

TEST(AdvertisingDataTest, FindsServiceUUIDsAndServiceData) {
  const std::pair<std::vector<uint8_t>, const char*> cases[] = {
      {{0x02, 0x01, 0x06, 0x03, 0x03, 0x0D, 0x18}, "180D -"},
      {{0x05, 0x16, 0xAA, 0xFE, 0x10, 0x00}, "FEAA=1000 eddystone"},
      {{0x03, 0x02, 0x0F, 0x18, 0x03, 0x03, 0xAA, 0xFE}, "180F FEAA eddystone"},
      {{0x03, 0x16, 0x0d, 0xab, 0x03, 0x16, 0x0d, 0xab}, "AB0D= -"},
      {{0x03, 0x03, 0x0D, 0x18, 0x00, 0x05, 0x16, 0xAA, 0xFE, 1, 2}, "180D -"},
      {{0x03, 0x03, 0x0D, 0x18, 0x09, 0x16, 0xAA, 0xFE}, "180D - malformed"},
      {{0x04, 0x03, 0xAA, 0xFE, 0x01}, "FEAA eddystone malformed"},
      {{0x02, 0x16, 0xAA, 0x03, 0x03, 0xAA, 0xFE}, "FEAA eddystone malformed"},
  };
  for (const auto& [data, expected] : cases)
    EXPECT_EQ(describe(AdvertisingData::parse(data)), expected) << ::testing::PrintToString(data);
}

}  // namespace
}  // namespace vicinix
