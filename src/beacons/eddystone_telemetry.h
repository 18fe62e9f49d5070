#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

namespace vicinix {

// The readings of an unencrypted telemetry frame, for hosts and tools that want
// more than the opaque bytes a sighting carries.
struct EddystoneTelemetry {
  // Nothing unless `frameData` is a version 0 (unencrypted) telemetry frame of
  // full length; bytes after the readings are ignored.
  static std::optional<EddystoneTelemetry> decode(std::span<const uint8_t> frameData);

  std::optional<uint16_t> batteryMillivolts{};  // absent when the beacon does not measure it
  std::optional<double> temperatureCelsius{};   // likewise
  uint32_t advertisingPDUCount = 0;             // since power-up or reboot
  std::chrono::duration<uint32_t, std::deci> uptime{};

  bool operator==(const EddystoneTelemetry&) const = default;
};

}  // namespace vicinix
