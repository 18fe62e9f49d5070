#pragma once

#include <vicinix/color.h>

#include <filesystem>
#include <optional>
#include <string>

#include "ui/basic_styles.h"
#include "ui/font.h"
#include "ui/line_type.h"
#include "ui/styled_text.h"

namespace vicinix {

// Turns the light Markdown of campaign texts (headings, bold, italic, code,
// links; line by line, no nesting) into styled text.
class MarkdownRenderer {
 public:
  // `fonts` gives the preferred fonts and their bold and italic faces; it
  // must outlive the renderer.
  MarkdownRenderer(std::string string, const FontBook& fonts);
  // The whole file read as UTF-8; nothing when it cannot be read.
  static std::optional<MarkdownRenderer> fromFile(const std::filesystem::path& path,
                                                  const FontBook& fonts);

  void setFontSizeForAllStyles(double size);
  void setFontColorForAllStyles(const Color& color);
  void setFontNameForAllStyles(const std::string& name);

  StyledText attributedString();

  BasicStyles h1, h2, h3, h4, h5, h6;
  BasicStyles body;
  BasicStyles link;
  BasicStyles bold;
  BasicStyles italic;
  BasicStyles code;
  LineType currentType = LineType::body;
  const std::string string;

 private:
  const FontBook* fonts_;
};

}  // namespace vicinix
