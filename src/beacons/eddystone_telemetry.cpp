#include "beacons/eddystone_telemetry.h"

namespace vicinix {
namespace {

constexpr uint8_t kTelemetryFrame = 0x20;
constexpr uint8_t kUnencryptedVersion = 0x00;
constexpr size_t kFrameLength = 14;
// What a beacon sends in place of a reading it cannot take.
constexpr uint16_t kNoBattery = 0;
constexpr uint16_t kNoTemperature = 0x8000;

uint32_t bigEndian(std::span<const uint8_t> bytes) {
  uint32_t value = 0;
  for (uint8_t byte : bytes) value = (value << 8) | byte;
  return value;
}

}  // namespace

std::optional<EddystoneTelemetry> EddystoneTelemetry::decode(std::span<const uint8_t> frameData) {
  if (frameData.size() < kFrameLength || frameData[0] != kTelemetryFrame ||
      frameData[1] != kUnencryptedVersion) {
    return std::nullopt;
  }
  EddystoneTelemetry telemetry;
  auto battery = static_cast<uint16_t>(bigEndian(frameData.subspan(2, 2)));
  if (battery != kNoBattery) telemetry.batteryMillivolts = battery;
  auto temperature = static_cast<uint16_t>(bigEndian(frameData.subspan(4, 2)));
  // Signed 8.8 fixed point: the two's-complement word over 256.
  if (temperature != kNoTemperature) {
    telemetry.temperatureCelsius = static_cast<int16_t>(temperature) / 256.0;
  }
  telemetry.advertisingPDUCount = bigEndian(frameData.subspan(6, 4));
  telemetry.uptime = decltype(uptime)(bigEndian(frameData.subspan(10, 4)));
  return telemetry;
}

}  // namespace vicinix
