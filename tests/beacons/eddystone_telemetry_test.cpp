#include "beacons/eddystone_telemetry.h"

#include <gtest/gtest.h>

#include <vector>

namespace vicinix {
namespace {

using Deciseconds = std::chrono::duration<uint32_t, std::deci>;

TEST(EddystoneTelemetryTest, DecodesUnencryptedFramesOnly) {
  struct Case {
    std::vector<uint8_t> data;
    std::optional<EddystoneTelemetry> expected;
  };
  using T = EddystoneTelemetry;
  for (const Case& c : {
           Case{{0x20, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10},
                T{3000, 24.5, 256, Deciseconds(10)}},
           Case{{0x20, 0, 0x0B, 0xB8, 0xFF, 0x80, 0, 0, 0, 1, 0, 0, 0, 0, 0xFF},
                T{3000, -0.5, 1, Deciseconds(0)}},
           Case{{0x20, 0, 0x0B, 0xB8, 0x80, 0x01, 0, 0, 0, 0, 0, 0, 0, 0},
                T{3000, -127.99609375, 0, Deciseconds(0)}},
           Case{{0x20, 0, 0, 0, 0x80, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE},
                T{std::nullopt, std::nullopt, 0xFFFFFFFF, Deciseconds(0xFFFFFFFE)}},
           Case{{0x20, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0}, std::nullopt},
           Case{{0x20, 1, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10}, std::nullopt},
           Case{{0x00, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10}, std::nullopt},
       }) {
    EXPECT_EQ(EddystoneTelemetry::decode(c.data), c.expected) << testing::PrintToString(c.data);
  }
}

}  // namespace
}  // namespace vicinix
