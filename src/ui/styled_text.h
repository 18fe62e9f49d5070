#pragma once

#include <vicinix/color.h>
#include <vicinix/export.h>

#include <optional>
#include <string>
#include <vector>

#include "ui/font.h"

namespace vicinix {

// One piece of styled text: its characters (UTF-8) and how they are drawn.
struct VICINIX_EXPORT TextRun {
  std::string text;
  Font font;
  Color color;
  std::optional<std::string> link;  // the address the run stands for, if it is a link
  bool operator==(const TextRun&) const = default;
};

// Text made of runs, as the Markdown renderer produces it and a label shows it.
struct VICINIX_EXPORT StyledText {
  std::vector<TextRun> runs;
  // The line height as a multiple of each line's natural height, over the
  // whole text; 0 keeps the natural spacing.
  double lineHeightMultiple = 0;

  // The characters of every run, in order.
  std::string string() const {
    std::string text;
    for (const auto& run : runs) text += run.text;
    return text;
  }
  bool operator==(const StyledText&) const = default;
};

}  // namespace vicinix
