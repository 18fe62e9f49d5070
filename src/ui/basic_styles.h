#pragma once

#include <optional>
#include <string>

#include "ui/color.h"

namespace vicinix {

// One Markdown style's font and colour. The renderer starts every style with
// the body text's preferred font name.
struct BasicStyles {
  std::optional<std::string> fontName;  // absent: the body style's name
  Color color;                          // black
  double fontSize = 0;                  // 0: the line type's preferred size
};

}  // namespace vicinix
