#include "core/uuid.h"

#include <cstdint>
#include <random>

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

}  // namespace vicinix
