#include "base/uuid.h"

#include <cstdint>
#include <random>

#include "base/hex.h"

namespace vicinix {

// A version 4 UUID from a per-thread generator seeded once from the system's
// entropy: libuuid reseeds on every call, which cost more than the rest of
// recording an event. These ids only need to be unique, not secret.
std::string makeUuidString() {
  thread_local std::mt19937_64 generator{[] {
    std::random_device entropy;
    std::seed_seq seed{entropy(), entropy(), entropy(), entropy()};
    return std::mt19937_64(seed);
  }()};
  uint64_t high = generator();
  uint64_t low = generator();
  high = (high & ~uint64_t{0xF000}) | 0x4000;                    // version 4
  low = (low & ~(uint64_t{0xC} << 60)) | (uint64_t{0x8} << 60);  // RFC 4122 variant

  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text(36, '-');
  int position = 0;
  auto put = [&](uint64_t value, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
      if (position == 8 || position == 13 || position == 18 || position == 23) ++position;
      text[position++] = kDigits[(value >> shift) & 0xF];
    }
  };
  put(high, 16);
  put(low, 16);
  return text;
}

std::optional<std::array<uint8_t, 16>> parseUuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::array<uint8_t, 16> bytes{};
  size_t byte = 0;
  for (size_t i = 0; i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i++] != '-') return std::nullopt;
      continue;
    }
    int high = hexDigit(text[i]), low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[byte++] = static_cast<uint8_t>(high << 4 | low);
    i += 2;
  }
  return bytes;
}

}  // namespace vicinix
