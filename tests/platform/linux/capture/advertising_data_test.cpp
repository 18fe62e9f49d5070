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
  struct Case {
    std::vector<uint8_t> data;
    const char* expected;
  };
  for (const Case& c : {
           Case{{0x02, 0x01, 0x06, 0x03, 0x03, 0x0D, 0x18}, "180D -"},
           Case{{0x05, 0x16, 0xAA, 0xFE, 0x10, 0x00}, "FEAA=1000 eddystone"},
           Case{{0x03, 0x02, 0x0F, 0x18, 0x03, 0x03, 0xAA, 0xFE}, "180F FEAA eddystone"},
           Case{{0x03, 0x16, 0x0d, 0xab, 0x03, 0x16, 0x0d, 0xab}, "AB0D= -"},
           Case{{0x03, 0x03, 0x0D, 0x18, 0x00, 0x05, 0x16, 0xAA, 0xFE, 1, 2}, "180D -"},
           Case{{0x03, 0x03, 0x0D, 0x18, 0x09, 0x16, 0xAA, 0xFE}, "180D - malformed"},
           Case{{0x04, 0x03, 0xAA, 0xFE, 0x01}, "FEAA eddystone malformed"},
           Case{{0x02, 0x16, 0xAA, 0x03, 0x03, 0xAA, 0xFE}, "FEAA eddystone malformed"},
       })
    EXPECT_EQ(describe(AdvertisingData::parse(c.data)), c.expected)
        << ::testing::PrintToString(c.data);
}

}  // namespace
}  // namespace vicinix
