#pragma once

#include <QFont>
#include <QString>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "ui/font.h"

namespace vicinix {

// Fonts from the fonts the machine has, through Qt's font database. The
// system font is Qt's general system font. One point is one device-independent
// pixel, so sizes are pixel sizes whatever the screen's logical DPI.
// Needs a QGuiApplication; main thread only.
class QtFontBook final : public FontBook {
 public:
  QtFontBook();

  Font preferredFont(TextStyle style) const override;
  std::optional<Font> font(const std::string& name, double pointSize) const override;
  std::optional<Font> withBold(const Font& font) const override;
  std::optional<Font> withItalic(const Font& font) const override;

  // The Qt font that draws `font`.
  QFont qFont(const Font& font) const;
  // The family Qt really draws `font` with, after aliases and fallbacks.
  std::string resolvedFamily(const Font& font) const;
  const QString& systemFamily() const { return systemFamily_; }
  // The font as the layout file shows it: the family drawn, size, weight, italic.
  nlohmann::ordered_json describe(const Font& font) const;

 private:
  // Whether the family has a face with at least this weight, or an italic one.
  bool hasFace(const QString& family, int minimumWeight, bool italic) const;

  QString systemFamily_;
  // Asking fontconfig is slow and the answers never change while we run.
  mutable std::map<std::tuple<QString, int, bool>, bool> faces_;
  mutable std::map<QString, std::string> resolved_;
  mutable std::map<std::string, bool> families_;
};

}  // namespace vicinix
