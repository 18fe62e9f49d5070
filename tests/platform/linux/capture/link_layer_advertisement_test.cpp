#include "platform/linux/capture/link_layer_advertisement.h"

#include <gtest/gtest.h>

#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/capture/hci_capture_builder.h"

namespace vicinix {
namespace {

using testing::Bytes;
using testing::operator+;
using Result = LinkLayerAdvertisement::Result;

const Bytes kAdvertisingAccessAddress = {0xd6, 0xbe, 0x89, 0x8e};
const Bytes kAddress = {1, 2, 3, 4, 5, 6};  // as sent: least significant byte first
const Bytes kCRC = {0, 0, 0};               // not checked here: the capture says whether it held

Bytes air(uint8_t header, const Bytes& payload, const Bytes& accessAddress = kAdvertisingAccessAddress) {
  return accessAddress + Bytes{header, testing::byte(payload.size())} + payload + kCRC;
}

// The PDUs a controller would not report, or could not trust, make no event.
TEST(LinkLayerAdvertisementTest, OnlyWholeAdvertisementsWithTheirAddressBecomeReports) {
  struct Case {
    const char* what;
    Bytes packet;
    Result result;
  };
  const Bytes data = testing::kEddystoneAdvert;
  for (const Case& c : {
           Case{"data channel", air(0x00, kAddress + data, {1, 2, 3, 4}), Result::NotAdvertising},
           Case{"ADV_DIRECT_IND", air(0x01, kAddress + kAddress), Result::NotAdvertising},
           Case{"SCAN_REQ", air(0x03, kAddress + kAddress), Result::NotAdvertising},
           Case{"ADV_EXT_IND pointing on", air(0x07, {0x06, 0x18, 1, 0x10, 8, 10, 0}),
                Result::NotAdvertising},
           Case{"AUX_CHAIN_IND without address", air(0x07, Bytes{0x03, 0x08, 1, 0x10} + data),
                Result::NotAdvertising},
           Case{"length byte lies", air(0x00, kAddress + data) + Bytes{0}, Result::Malformed},
           Case{"no room for the address", air(0x02, {1, 2, 3}), Result::Malformed},
           Case{"legacy data over 31 bytes", air(0x02, kAddress + Bytes(32, 0)), Result::Malformed},
           Case{"extended header overruns", air(0x07, {0x0a, 0x01, 1, 2, 3}), Result::Malformed},
           Case{"cut off", {0xd6, 0xbe, 0x89}, Result::Malformed},
       }) {
    std::vector<uint8_t> event;
    EXPECT_EQ(LinkLayerAdvertisement::toEvent(c.packet, -50, false, event), c.result) << c.what;
  }
}

TEST(LinkLayerAdvertisementTest, ReportsCarryTheAdvertiserTheKindAndTheSignal) {
  const Bytes data = testing::kEddystoneAdvert;
  std::vector<uint8_t> event;
  // SCAN_RSP from a random address, as a controller numbers it (4).
  ASSERT_EQ(LinkLayerAdvertisement::toEvent(air(0x44, kAddress + data), -71, false, event),
            Result::Report);
  auto reports = AdvertisingReport::fromEvent(event);
  ASSERT_TRUE(reports && reports->size() == 1);
  AdvertisingReport legacy;
  legacy.address = {1, 2, 3, 4, 5, 6};
  legacy.addressType = 1;
  legacy.eventType = 4;
  legacy.RSSI = -71;
  legacy.data = data;
  EXPECT_EQ(reports->front(), legacy);

  // AUX_ADV_IND, connectable, heard on the LE Coded PHY (a coding indicator
  // after the access address), with AdvA, ADI and TX power before the data.
  Bytes coded = kAdvertisingAccessAddress + Bytes{0x00, 0x07, 0x0a} +
                Bytes{0x4a, 0x49} + kAddress + Bytes{0x01, 0x30, 0xf6} + data + kCRC;
  coded[6] = testing::byte(coded.size() - 4 - 1 - 2 - 3);
  ASSERT_EQ(LinkLayerAdvertisement::toEvent(coded, -90, true, event), Result::Report);
  reports = AdvertisingReport::fromEvent(event);
  ASSERT_TRUE(reports && reports->size() == 1);
  const AdvertisingReport& extended = reports->front();
  EXPECT_TRUE(extended.extended);
  EXPECT_EQ(extended.eventType, 0x01) << "connectable, data complete";
  EXPECT_EQ(extended.addressType, 0);
  EXPECT_EQ(extended.RSSI, -90);
  EXPECT_EQ(extended.data, data);
  EXPECT_EQ(event[3 + 1 + 11], 3) << "the advertising set";
  EXPECT_EQ(static_cast<int8_t>(event[3 + 1 + 12]), -10) << "TX power";
}

}  // namespace
}  // namespace vicinix
