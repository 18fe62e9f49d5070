#pragma once

/// @file
/// Colours of the SDK's screens.

#include <vicinix/export.h>

#include <string_view>

namespace vicinix {

/// A toolkit-neutral RGBA colour, components from 0 to 1.
struct VICINIX_EXPORT Color {
  double red = 0;    ///< Red, 0 to 1.
  double green = 0;  ///< Green, 0 to 1.
  double blue = 0;   ///< Blue, 0 to 1.
  double alpha = 1;  ///< Opacity, 0 (clear) to 1.

  /// 50 % gray, what an unreadable colour becomes.
  static Color gray() { return {0.5, 0.5, 0.5, 1}; }
  /// "#RRGGBB" or "RRGGBB", case-insensitive, surrounding whitespace ignored.
  /// Any other length gives gray; hex digits are read as far as they go, so
  /// "12ZZZZ" is 0x000012 and "ZZZZZZ" black.
  static Color fromHexString(std::string_view text);

  bool operator==(const Color&) const = default;  ///< Component-wise.
};

}  // namespace vicinix
