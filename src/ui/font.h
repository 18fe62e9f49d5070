#pragma once

#include <vicinix/export.h>

#include <optional>
#include <string>

namespace vicinix {

enum class FontWeight { regular, medium, semibold, bold };

// The text styles a screen may ask the toolkit's preferred sizes for.
enum class TextStyle { title1, title2, headline, subheadline, footnote, body };

// The preferred size and weight of each text style, the same in every toolkit.
VICINIX_EXPORT double preferredPointSize(TextStyle style);
VICINIX_EXPORT FontWeight preferredWeight(TextStyle style);

// A font as the screens describe it; the toolkit turns it into a real one.
struct VICINIX_EXPORT Font {
  std::string family;  // empty: the toolkit's system font
  double pointSize = 0;
  FontWeight weight = FontWeight::regular;
  bool italic = false;

  static Font system(double pointSize, FontWeight weight = FontWeight::regular) {
    return {"", pointSize, weight, false};
  }
  bool operator==(const Font&) const = default;
};

// The fonts a toolkit can give. Main queue only.
class VICINIX_EXPORT FontBook {
 public:
  virtual ~FontBook() = default;
  // The font a text style uses, at its preferred size.
  virtual Font preferredFont(TextStyle style) const = 0;
  // The family `name` at `pointSize`; nothing when the toolkit has no such family.
  virtual std::optional<Font> font(const std::string& name, double pointSize) const = 0;
  // The same font with the bold or the italic trait added; nothing when the
  // family has no such face.
  virtual std::optional<Font> withBold(const Font& font) const = 0;
  virtual std::optional<Font> withItalic(const Font& font) const = 0;
};

}  // namespace vicinix
