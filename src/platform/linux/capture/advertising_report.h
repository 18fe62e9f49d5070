#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vicinix {

// One advertisement as the controller reported it, legacy or extended.
struct AdvertisingReport {
  static constexpr int8_t kRSSIUnavailable = 127;

  std::array<uint8_t, 6> address{};  // least significant byte first, as HCI sends it
  uint8_t addressType = 0;
  uint16_t eventType = 0;  // the legacy or extended event-type field, whichever it came in
  bool extended = false;
  int8_t RSSI = kRSSIUnavailable;
  std::vector<uint8_t> data;

  bool operator==(const AdvertisingReport&) const = default;

  // The reports in one whole HCI event (code, length, parameters). Other
  // events give an empty list; an advertising event whose lengths do not add
  // up gives nothing at all, since no report in it can be trusted.
  static std::optional<std::vector<AdvertisingReport>> fromEvent(std::span<const uint8_t> event);
};

}  // namespace vicinix
