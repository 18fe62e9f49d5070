#pragma once

#include "ui/font.h"

namespace vicinix {

// Fonts without a font system, for tests. Every text style's preferred font
// is "Fake Sans" at the shared preferred size and weight. Known families are
// "Fake Sans", "Fake Serif", "Fake Mono" and "Fake Plain"; the last has no
// bold or italic face, so callers that must keep the font can be tested.
class FakeFontBook final : public FontBook {
 public:
  static constexpr const char* kSans = "Fake Sans";
  static constexpr const char* kSerif = "Fake Serif";
  static constexpr const char* kMono = "Fake Mono";
  static constexpr const char* kPlain = "Fake Plain";

  Font preferredFont(TextStyle style) const override;
  std::optional<Font> font(const std::string& name, double pointSize) const override;
  std::optional<Font> withBold(const Font& font) const override;
  std::optional<Font> withItalic(const Font& font) const override;
};

}  // namespace vicinix
