#pragma once

#include <string>
#include <vector>

#include "ui/font.h"
#include "ui/geometry.h"
#include "ui/styled_text.h"

namespace vicinix {

// Text measured by rule instead of by a font system, so layout tests can
// compute every expected size by hand: each character (code point) is half
// its point size wide, a line is 1.2 × the largest point size on it (times
// the styled text's line height multiple when that is set), and words wrap
// greedily at blanks; a word wider than the line is cut where it overflows.
class FakeTextMetric {
 public:
  struct Layout {
    std::vector<std::string> lines;
    Size size;  // the widest line, and the lines' heights added up
  };

  static double characterWidth(double pointSize) { return pointSize / 2; }
  // Divided last so that 1.2 × 14 is the double nearest 16.8, as a test writes it.
  static double lineHeight(double pointSize) { return pointSize * 6 / 5; }

  // `width` 0 or less does not wrap; `maxLines` 0 does not limit.
  static Layout layout(const std::string& text, const Font& font, double width, int maxLines = 0);
  static Layout layout(const StyledText& text, double width, int maxLines = 0);
};

}  // namespace vicinix
