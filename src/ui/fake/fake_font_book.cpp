#include "ui/fake/fake_font_book.h"

namespace vicinix {

namespace {

bool isKnown(const std::string& name) {
  return name == FakeFontBook::kSans || name == FakeFontBook::kSerif ||
         name == FakeFontBook::kMono || name == FakeFontBook::kPlain;
}

bool hasFaces(const Font& font) {
  return isKnown(font.family) && font.family != FakeFontBook::kPlain;
}

}  // namespace

Font FakeFontBook::preferredFont(TextStyle style) const {
  return {kSans, preferredPointSize(style), preferredWeight(style), false};
}

std::optional<Font> FakeFontBook::font(const std::string& name, double pointSize) const {
  if (!isKnown(name)) return std::nullopt;
  return Font{name, pointSize, FontWeight::regular, false};
}

std::optional<Font> FakeFontBook::withBold(const Font& font) const {
  if (!hasFaces(font)) return std::nullopt;
  Font bold = font;
  bold.weight = FontWeight::bold;
  return bold;
}

std::optional<Font> FakeFontBook::withItalic(const Font& font) const {
  if (!hasFaces(font)) return std::nullopt;
  Font italic = font;
  italic.italic = true;
  return italic;
}

}  // namespace vicinix
