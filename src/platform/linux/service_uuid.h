#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vicinix {

// A Bluetooth service UUID, read from "FEAA", "0000FEAA" or the full 128-bit
// text in either case, and written the way each side wants it: BlueZ talks in
// the lower-case full form, advertisements are keyed by the short one.
class ServiceUUID {
 public:
  static std::optional<ServiceUUID> parse(std::string_view text);
  static ServiceUUID from16(uint16_t uuid);

  // "0000feaa-0000-1000-8000-00805f9b34fb"
  std::string fullText() const;
  // "FEAA" for the 16-bit form of the Bluetooth base UUID, eight digits for
  // the 32-bit form, the upper-case full text for any other.
  std::string shortText() const;
  // 0xFEAA for a 16-bit UUID.
  std::optional<uint16_t> uuid16() const;

  bool operator==(const ServiceUUID&) const = default;

 private:
  std::array<uint8_t, 16> bytes_{};
};

}  // namespace vicinix
