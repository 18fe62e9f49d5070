#pragma once

#include <vicinix/color.h>

#include <optional>
#include <string>

namespace vicinix {

// One Markdown style's font and colour. The renderer starts every style with
// the body text's preferred font name.
struct BasicStyles {
  std::optional<std::string> fontName;  // absent: the body style's name
  Color color;                          // black
  double fontSize = 0;                  // 0: the line type's preferred size
};

}  // namespace vicinix
