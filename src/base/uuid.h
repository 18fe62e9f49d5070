#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vicinix {

// A new random UUID in its canonical upper-case text form (36 characters).
std::string makeUuidString();

// The 16 bytes of a UUID in canonical text form (8-4-4-4-12 hex digits, either
// case); nothing for any other text.
std::optional<std::array<uint8_t, 16>> parseUuid(std::string_view text);

}  // namespace vicinix
