#include "platform/linux/capture/advertising_report.h"

#include <gtest/gtest.h>

#include "platform/linux/capture/hci_capture_builder.h"

namespace vicinix {
namespace {

using testing::Bytes;
using testing::operator+;

// Reading good reports is covered by the capture replays; these are the ways
// an event can lie about its lengths.
TEST(AdvertisingReportTest, RefusesEventsWhoseLengthsDoNotAddUp) {
  const testing::Advert beacon{{1, 2, 3, 4, 5, 6}, -60, testing::kEddystoneAdvert};
  Bytes good = testing::legacyReportEvent({beacon});
  Bytes dataPastRSSI = good, twoClaimedOneSent = good, extraByte = good + Bytes{0};
  dataPastRSSI[3 + 1 + 8] += 1;
  twoClaimedOneSent[3] = 2;
  extraByte[1] += 1;
  Bytes extendedCut = testing::extendedReportEvent(beacon);
  extendedCut.resize(20);
  extendedCut[1] = 18;

  for (const Bytes& event : {dataPastRSSI, twoClaimedOneSent, extraByte, extendedCut,
                             Bytes{0x3E, 5, 0x02}, Bytes{0x3E, 1, 0x02}})
    EXPECT_FALSE(AdvertisingReport::fromEvent(event)) << ::testing::PrintToString(event);
  // Not advertising at all: nothing to report, and nothing wrong either.
  for (const Bytes& event : {Bytes{0x0E, 4, 1, 0x0C, 0x20, 0}, Bytes{0x3E, 1, 0x01}, Bytes{}})
    EXPECT_EQ(AdvertisingReport::fromEvent(event), std::vector<AdvertisingReport>{});
}

}  // namespace
}  // namespace vicinix
