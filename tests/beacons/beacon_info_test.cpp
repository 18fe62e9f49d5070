#include "beacons/beacon_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using Bytes = std::vector<uint8_t>;
using FrameType = BeaconInfo::EddystoneFrameType;

const Bytes kUIDFrame = {0x00, 0xEC,                          // type, -20 dBm
                         0x0A, 0xFF, 0, 0, 0, 0, 0, 0, 0, 1,  // namespace
                         0,    0,    0, 0, 0, 2,              // instance
                         0xAA, 0xBB};                         // reserved
const Bytes kEIDFrame = {0x30, 0x05, 1, 2, 3, 4, 5, 6, 7, 0xFE, 0xAA};

class BeaconInfoTest : public ::testing::Test {
 protected:
  FakeSdk env;
};

TEST_F(BeaconInfoTest, ClassifiesByTheEddystoneEntryAndItsFirstByte) {
  struct Case {
    const char* uuid;
    Bytes data;
    FrameType expected;
  };
  for (const Case& c : {
           Case{"FEAA", {0x00, 0}, FrameType::UIDFrameType},
           Case{"feaa", {0x10, 0}, FrameType::URLFrameType},
           Case{"0000FEAA-0000-1000-8000-00805f9b34fb", {0x20, 0}, FrameType::TelemetryFrameType},
           Case{"FEAA", {0x30, 0}, FrameType::EIDFrameType},
           Case{"FEAA", {0x00}, FrameType::UnknownFrameType},
           Case{"FEAA", {0x01, 0}, FrameType::UnknownFrameType},
           Case{"FEAA", {0x40, 0}, FrameType::UnknownFrameType},
           Case{"FEAB", {0x00, 0}, FrameType::UnknownFrameType},
           Case{"0000feaa-0000-1000-8000-00805f9b34fc", {0x00, 0}, FrameType::UnknownFrameType},
       }) {
    EXPECT_EQ(BeaconInfo::frameTypeForFrame(ServiceDataMap{{c.uuid, c.data}}), c.expected)
        << c.uuid << " " << testing::PrintToString(c.data);
  }
  EXPECT_EQ(BeaconInfo::frameTypeForFrame(ServiceDataMap{}), FrameType::UnknownFrameType);

  auto telemetry = BeaconInfo::telemetryDataForFrame({{"180F", {1}}, {"feaa", {0x20, 0, 0x0B}}});
  EXPECT_EQ(telemetry ? *telemetry : Bytes{}, (Bytes{0x20, 0, 0x0B}));
  EXPECT_EQ(BeaconInfo::telemetryDataForFrame({{"180F", {0x20, 0}}}), nullptr);
}

TEST_F(BeaconInfoTest, IdentifierFramesGiveSignedPowerAndTheIdentifierTexts) {
  auto telemetry = std::make_shared<const Bytes>(Bytes{0x20, 0x00});
  auto uid = BeaconInfo::beaconInfoForUIDFrameData(kUIDFrame, telemetry, -71);
  ASSERT_TRUE(uid);
  EXPECT_EQ(std::tuple(uid->txPower(), uid->RSSI(), uid->telemetry()),
            std::tuple(-20, -71, telemetry));
  EXPECT_EQ(uid->beaconID().beaconType(), BeaconID::BeaconType::Eddystone);
  EXPECT_EQ(uid->beaconID().description(), "BeaconID beacon: 0aff0000000000000001000000000002");
  EXPECT_EQ(uid->beaconID().nameSpace(), "0aff0000000000000001");
  EXPECT_EQ(uid->beaconID().instance(), "000000000002");

  auto eid = BeaconInfo::beaconInfoForEIDFrameData(kEIDFrame, nullptr, -50);
  ASSERT_TRUE(eid);
  EXPECT_EQ(eid->txPower(), 5);
  EXPECT_EQ(eid->beaconID().beaconType(), BeaconID::BeaconType::EddystoneEID);
  EXPECT_EQ(eid->beaconID().description(), "BeaconID beacon: 01020304050607fe");
  EXPECT_EQ(eid->beaconID().nameSpace(), "01020304050607fe") << "never a 20-character namespace";
  EXPECT_EQ(eid->beaconID().instance(), "");
  EXPECT_TRUE(env.log->systemLines().empty());
}

TEST_F(BeaconInfoTest, WrongOrShortFramesYieldNothingAfterTheirLogLine) {
  struct Case {
    decltype(&BeaconInfo::beaconInfoForUIDFrameData) parse;
    Bytes data;
    const char* line;  // nullptr: silent
  };
  const auto uid = &BeaconInfo::beaconInfoForUIDFrameData;
  const auto eid = &BeaconInfo::beaconInfoForEIDFrameData;
  for (const Case& c : {
           Case{uid, {0x00}, nullptr},
           Case{uid, kEIDFrame, "Unexpected non UID Frame passed to BeaconInfoForUIDFrameData."},
           Case{uid, Bytes(kUIDFrame.begin(), kUIDFrame.begin() + 17),
                "Frame Data for UID Frame unexpectedly truncated in BeaconInfoForUIDFrameData."},
           Case{eid, {0x30}, nullptr},
           Case{eid, kUIDFrame, "Unexpected non EID Frame passed to BeaconInfoForEIDFrameData."},
           Case{eid, Bytes(kEIDFrame.begin(), kEIDFrame.begin() + 9),
                "Frame Data for EID Frame unexpectedly truncated in BeaconInfoForEIDFrameData."},
       }) {
    env.log->clear();
    EXPECT_FALSE(c.parse(c.data, nullptr, 0)) << testing::PrintToString(c.data);
    EXPECT_EQ(env.log->systemLines(),
              c.line ? std::vector<std::string>{c.line} : std::vector<std::string>{});
  }
}

TEST_F(BeaconInfoTest, URLFramesExpandTheirCodes) {
  struct Case {
    Bytes data;
    std::optional<std::string> expected;
  };
  for (const Case& c : {
           Case{{0x10, 0xEB, 0x03, 'g', 'o', 0x07}, "https://go.com"},
           Case{{0x10, 0xEB, 0x00, 'a', 0x00, 'x', 0x0D}, "http://www.a.com/x.gov"},
           Case{{0x10, 0xEB, 0x02, 'a', 0x80, 'b', 0xFF, 0x08}, "http://ab.org"},
           Case{{0x10, 0xEB, 0x04, 'g', 'o', 0x07}, std::nullopt},
           Case{{0x10, 0xEB, 0x02, 'a', 0x0E}, std::nullopt},
           Case{{0x10, 0xEB}, std::nullopt},
       }) {
    auto url = BeaconInfo::parseURLFromFrame(c.data);
    EXPECT_EQ(url ? std::optional(url->text()) : std::nullopt, c.expected)
        << testing::PrintToString(c.data);
  }
  std::string prefixes, expansions;
  for (uint8_t code = 0; code < 4; ++code) prefixes += *BeaconInfo::URLPrefixFromByte(code);
  for (uint8_t code = 0; code < 14; ++code) expansions += *BeaconInfo::encodedStringFromByte(code);
  EXPECT_EQ(prefixes, "http://www.https://www.http://https://");
  EXPECT_EQ(expansions, ".com/.org/.edu/.net/.info/.biz/.gov/.com.org.edu.net.info.biz.gov");
}

}  // namespace
}  // namespace vicinix
