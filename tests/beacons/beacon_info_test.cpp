#include "beacons/beacon_info.h"

#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;
using enum BeaconInfo::EddystoneFrameType;

const Bytes kUIDFrame = {0x00, 0xEC,                          // type, -20 dBm
                         0x0A, 0xFF, 0, 0, 0, 0, 0, 0, 0, 1,  // namespace
                         0,    0,    0, 0, 0, 2,              // instance
                         0xAA, 0xBB};                         // reserved
const Bytes kEIDFrame = {0x30, 0x05, 1, 2, 3, 4, 5, 6, 7, 0xFE, 0xAA};

TEST(BeaconInfoTest, ClassifiesByTheEddystoneEntryAndItsFirstByte) {
  using C = std::tuple<const char*, Bytes, BeaconInfo::EddystoneFrameType>;
  for (const auto& [uuid, data, expected] :
       {C{"FEAA", {0x00, 0}, UIDFrameType}, C{"feaa", {0x10, 0}, URLFrameType},
        C{"0000FEAA-0000-1000-8000-00805f9b34fb", {0x20, 0}, TelemetryFrameType},
        C{"FEAA", {0x30, 0}, EIDFrameType}, C{"FEAA", {0x00}, UnknownFrameType},
        C{"FEAA", {0x40, 0}, UnknownFrameType}, C{"FEAB", {0x00, 0}, UnknownFrameType},
        C{"0000feaa-0000-1000-8000-00805f9b34fc", {0x00, 0}, UnknownFrameType}})
    EXPECT_EQ(BeaconInfo::frameTypeForFrame({{uuid, data}}), expected) << uuid << data.size();
  EXPECT_EQ(BeaconInfo::frameTypeForFrame(ServiceDataMap{}), UnknownFrameType);

  auto telemetry = BeaconInfo::telemetryDataForFrame({{"180F", {1}}, {"feaa", {0x20, 0, 0x0B}}});
  EXPECT_EQ(telemetry ? *telemetry : Bytes{}, (Bytes{0x20, 0, 0x0B}));
  EXPECT_EQ(BeaconInfo::telemetryDataForFrame({{"180F", {0x20, 0}}}), nullptr);
}

TEST(BeaconInfoTest, IdentifierFramesGiveSignedPowerAndTheIdentifierTexts) {
  auto telemetry = std::make_shared<const Bytes>(Bytes{0x20, 0x00});
  auto uid = BeaconInfo::beaconInfoForUIDFrameData(kUIDFrame, telemetry, -71);
  auto eid = BeaconInfo::beaconInfoForEIDFrameData(kEIDFrame, nullptr, -50);
  ASSERT_TRUE(uid && eid);
  auto fields = [](const BeaconInfo& b) {
    return std::tuple(b.txPower(), b.RSSI(), b.telemetry(), b.beaconID().beaconType(),
                      b.beaconID().nameSpace(), b.beaconID().instance());
  };
  EXPECT_EQ(fields(*uid), std::tuple(-20, -71, telemetry, BeaconID::BeaconType::Eddystone,
                                     "0aff0000000000000001", "000000000002"));
  EXPECT_EQ(fields(*eid), std::tuple(5, -50, nullptr, BeaconID::BeaconType::EddystoneEID,
                                     "01020304050607fe", ""));
}

TEST(BeaconInfoTest, WrongOrShortFramesYieldNothingAfterTheirLogLine) {
  FakeSdk env;
  const auto uid = &BeaconInfo::beaconInfoForUIDFrameData;
  const auto eid = &BeaconInfo::beaconInfoForEIDFrameData;
  const std::tuple<decltype(uid), Bytes, std::string> cases[] = {
      // "": silent
      {uid, {0x00}, ""},
      {uid, kEIDFrame, "Unexpected non UID Frame passed to BeaconInfoForUIDFrameData."},
      {uid, Bytes(kUIDFrame.begin(), kUIDFrame.begin() + 17),
       "Frame Data for UID Frame unexpectedly truncated in BeaconInfoForUIDFrameData."},
      {eid, {0x30}, ""},
      {eid, kUIDFrame, "Unexpected non EID Frame passed to BeaconInfoForEIDFrameData."},
      {eid, Bytes(kEIDFrame.begin(), kEIDFrame.begin() + 9),
       "Frame Data for EID Frame unexpectedly truncated in BeaconInfoForEIDFrameData."},
  };
  for (const auto& [parse, data, line] : cases) {
    env.log->clear();
    EXPECT_FALSE(parse(data, nullptr, 0)) << testing::PrintToString(data);
    EXPECT_EQ(env.log->systemLines(), line.empty() ? Strings{} : Strings{line});
  }
}

// Together the cases use every scheme and expansion code.
TEST(BeaconInfoTest, URLFramesExpandTheirCodes) {
  const std::pair<Bytes, std::optional<std::string>> cases[] = {
      {{0x10, 0xEB, 0x03, 'g', 'o', 0x07}, "https://go.com"},
      {{0x10, 0xEB, 0x00, 'a', 0x80, 'b', 0xFF, 0x08}, "http://www.ab.org"},
      {{0x10, 0xEB, 0x02, 'a', 0, 1, 2, 3, 4, 5, 6},
       "http://a.com/.org/.edu/.net/.info/.biz/.gov/"},
      {{0x10, 0xEB, 0x01, 'a', 7, 8, 9, 10, 11, 12, 13},
       "https://www.a.com.org.edu.net.info.biz.gov"},
      {{0x10, 0xEB, 0x04, 'g', 'o', 0x07}, std::nullopt},
      {{0x10, 0xEB, 0x02, 'a', 0x0E}, std::nullopt},
      {{0x10, 0xEB}, std::nullopt},
  };
  for (const auto& [data, expected] : cases) {
    auto url = BeaconInfo::parseURLFromFrame(data);
    EXPECT_EQ(url ? std::optional(url->text()) : std::nullopt, expected)
        << testing::PrintToString(data);
  }
}

}  // namespace
}  // namespace vicinix
