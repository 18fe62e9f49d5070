#include "ui/qt/qt_font_book.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QStringList>
#include <algorithm>
#include <cmath>

namespace vicinix {
namespace {

QFont::Weight qWeight(FontWeight weight) {
  switch (weight) {
    case FontWeight::regular:
      return QFont::Normal;
    case FontWeight::medium:
      return QFont::Medium;
    case FontWeight::semibold:
      return QFont::DemiBold;
    case FontWeight::bold:
      return QFont::Bold;
  }
  return QFont::Normal;
}

const char* weightName(FontWeight weight) {
  switch (weight) {
    case FontWeight::regular:
      return "regular";
    case FontWeight::medium:
      return "medium";
    case FontWeight::semibold:
      return "semibold";
    case FontWeight::bold:
      return "bold";
  }
  return "regular";
}

}  // namespace

QtFontBook::QtFontBook() {
  // "Sans Serif" and the like are fontconfig aliases; naming the family they
  // resolve to lets the database answer which faces exist.
  QFont general = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  systemFamily_ = QFontInfo(general).family();
  if (systemFamily_.isEmpty()) systemFamily_ = general.family();
}

Font QtFontBook::preferredFont(TextStyle style) const {
  return Font{systemFamily_.toStdString(), preferredPointSize(style), preferredWeight(style),
              false};
}

std::optional<Font> QtFontBook::font(const std::string& name, double pointSize) const {
  if (name.empty()) return Font::system(pointSize);
  // Only families the database knows: Qt would silently draw an unknown
  // name with the default family, and the caller should learn it has none.
  auto known = families_.find(name);
  if (known == families_.end()) {
    known = families_.emplace(name, QFontDatabase::hasFamily(QString::fromStdString(name))).first;
  }
  if (!known->second) return std::nullopt;
  return Font{name, pointSize, FontWeight::regular, false};
}

std::optional<Font> QtFontBook::withBold(const Font& font) const {
  if (!hasFace(QString::fromStdString(resolvedFamily(font)), QFont::Bold, font.italic)) {
    return std::nullopt;
  }
  Font bold = font;
  bold.weight = FontWeight::bold;
  return bold;
}

std::optional<Font> QtFontBook::withItalic(const Font& font) const {
  int weight = font.weight >= FontWeight::semibold ? QFont::DemiBold : QFont::Thin;
  if (!hasFace(QString::fromStdString(resolvedFamily(font)), weight, true)) return std::nullopt;
  Font italic = font;
  italic.italic = true;
  return italic;
}

bool QtFontBook::hasFace(const QString& family, int minimumWeight, bool italic) const {
  auto key = std::make_tuple(family, minimumWeight, italic);
  if (auto known = faces_.find(key); known != faces_.end()) return known->second;
  const QStringList styles = QFontDatabase::styles(family);
  return faces_[key] = std::any_of(styles.begin(), styles.end(), [&](const QString& style) {
           // QFontDatabase::italic() says no to oblique faces (DejaVu Sans has only those).
           return QFontDatabase::weight(family, style) >= minimumWeight &&
                  (!italic || QFontDatabase::font(family, style, 12).style() != QFont::StyleNormal);
         });
}

QFont QtFontBook::qFont(const Font& font) const {
  QFont result(font.family.empty() ? systemFamily_ : QString::fromStdString(font.family));
  result.setPixelSize(std::max(1, static_cast<int>(std::lround(font.pointSize))));
  result.setWeight(qWeight(font.weight));
  result.setItalic(font.italic);
  return result;
}

std::string QtFontBook::resolvedFamily(const Font& font) const {
  // The family a name resolves to does not depend on size, weight or slant.
  QString family = font.family.empty() ? systemFamily_ : QString::fromStdString(font.family);
  auto known = resolved_.find(family);
  if (known == resolved_.end()) {
    known = resolved_.emplace(family, QFontInfo(QFont(family)).family().toStdString()).first;
  }
  return known->second;
}

nlohmann::ordered_json QtFontBook::describe(const Font& font) const {
  return {{"family", resolvedFamily(font)},
          {"size", font.pointSize},
          {"weight", weightName(font.weight)},
          {"italic", font.italic}};
}

}  // namespace vicinix
