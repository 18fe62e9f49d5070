#include "beacons/eddystone_telemetry.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

TEST(EddystoneTelemetryTest, DecodesUnencryptedFramesOnly) {
  using T = EddystoneTelemetry;
  using Ds = std::chrono::duration<uint32_t, std::deci>;
  const std::pair<std::vector<uint8_t>, std::optional<T>> cases[] = {
      {{0x20, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10}, T{3000, 24.5, 256, Ds(10)}},
      {{0x20, 0, 0x0B, 0xB8, 0xFF, 0x80, 0, 0, 0, 1, 0, 0, 0, 0, 0xFF}, T{3000, -0.5, 1, Ds(0)}},
      {{0x20, 0, 0x0B, 0xB8, 0x80, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}, T{3000, -127.99609375, 0, Ds(0)}},
      {{0x20, 0, 0, 0, 0x80, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE},
       T{std::nullopt, std::nullopt, 0xFFFFFFFF, Ds(0xFFFFFFFE)}},
      {{0x20, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0}, std::nullopt},
      {{0x20, 1, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10}, std::nullopt},
      {{0x00, 0, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 1, 0, 0, 0, 0, 10}, std::nullopt},
  };
  for (const auto& [data, expected] : cases)
    EXPECT_EQ(EddystoneTelemetry::decode(data), expected) << testing::PrintToString(data);
}

}  // namespace
}  // namespace vicinix
