#pragma once

#include <string_view>

namespace vicinix {

// A toolkit-neutral RGBA colour, components from 0 to 1.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  static Color gray() { return {0.5, 0.5, 0.5, 1}; }
  // "#RRGGBB" or "RRGGBB", case-insensitive, surrounding whitespace ignored.
  // Any other length gives gray; hex digits are read as far as they go, so
  // "12ZZZZ" is 0x000012 and "ZZZZZZ" black.
  static Color fromHexString(std::string_view text);

  bool operator==(const Color&) const = default;
};

}  // namespace vicinix
