#include "ui/qt/qt_table_row.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

#include "ui/qt/qt_font_book.h"
#include "ui/qt/qt_image_view.h"
#include "ui/qt/qt_view_core.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

QRectF qRect(const Rect& rect) {
  return {rect.x, rect.y, rect.width, rect.height};
}

nlohmann::ordered_json frameJson(const Rect& rect) {
  return {{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
}

// The picture covers its frame without being stretched; what sticks out is
// cut off evenly on both sides. Thumbnails of campaign photos of any shape
// then line up as equal tiles down the list.
QImage coverFrame(const Image& image, const Rect& frame, double devicePixelRatio) {
  QSize pixels(static_cast<int>(std::ceil(frame.width * devicePixelRatio)),
               static_cast<int>(std::ceil(frame.height * devicePixelRatio)));
  if (image.empty() || pixels.isEmpty()) return {};
  QImage scaled =
      qImage(image).scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
  QImage cropped =
      scaled.copy((scaled.width() - pixels.width()) / 2, (scaled.height() - pixels.height()) / 2,
                  pixels.width(), pixels.height());
  cropped.setDevicePixelRatio(devicePixelRatio);
  return cropped;
}

}  // namespace

QtTableRow::QtTableRow(const TableCell& cell, const QtFontBook& fonts, double devicePixelRatio)
    : cell_(cell) {
  if (cell_.image) {
    pictureSize_ = {double(cell_.image->width), double(cell_.image->height)};
    picture_ = coverFrame(*cell_.image, cell_.imageFrame, devicePixelRatio);
    cell_.image.reset();
  }
  title_ = layOut(cell_.title, fonts.qFont(cell_.title.font));
  subtitle_ = layOut(cell_.subtitle, fonts.qFont(cell_.subtitle.font));
}

QtTableRow::Lines QtTableRow::layOut(const TableCell::Text& text, const QFont& font) {
  Lines out{font, qColor(text.color), {}, {}};
  const double width = text.frame.width;
  if (text.text.empty() || width <= 0) return out;
  QString string = QString::fromStdString(text.text);
  // Breaks the source text asks for are kept; QTextLayout only honours them
  // as line separators.
  string.replace(QLatin1Char('\n'), QChar::LineSeparator);

  QFontMetricsF metrics(font);
  int maximum = text.numberOfLines;
  if (maximum <= 0) {
    double fit = std::floor(text.frame.height / metrics.lineSpacing());
    maximum = static_cast<int>(std::clamp(std::isfinite(fit) ? fit : 1.0, 1.0, 1000.0));
  }

  // A line holds a few hundred characters at most; a title of megabytes
  // from a faulty campaign is cut before it is shaped, and ends in the
  // ellipsis below all the same.
  const qsizetype kept = static_cast<qsizetype>(maximum) * 512;
  const bool cut = string.size() > kept;
  string.truncate(kept);

  QTextLayout layout(string, font);
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  layout.setTextOption(option);
  layout.setCacheEnabled(false);
  std::vector<std::pair<int, int>> spans;
  std::vector<double> tops;
  double bottom = 0;
  double ascent = metrics.ascent();
  layout.beginLayout();
  while (static_cast<int>(spans.size()) < maximum) {
    QTextLine line = layout.createLine();
    if (!line.isValid()) break;
    line.setLineWidth(width);
    line.setPosition({0, bottom});
    spans.emplace_back(line.textStart(), line.textLength());
    tops.push_back(bottom);
    bottom += line.height();
  }
  layout.endLayout();

  for (const auto& [start, length] : spans) {
    QString piece = string.mid(start, length);
    // The trailing space or separator a line was broken at is not drawn.
    while (!piece.isEmpty() && (piece.back().isSpace() || piece.back() == QChar::LineSeparator)) {
      piece.chop(1);
    }
    out.lines.push_back(piece);
  }
  const int shown = spans.empty() ? 0 : spans.back().first + spans.back().second;
  if (!spans.empty() && (shown < string.size() || cut)) {
    // More text than lines: the last line shows what it can and ends in an ellipsis.
    QString rest = string.mid(spans.back().first);
    rest.replace(QChar::LineSeparator, QLatin1Char(' '));
    rest = rest.simplified();
    if (cut) rest += QChar(0x2026);
    out.lines.back() = metrics.elidedText(rest, Qt::ElideRight, width);
  }

  // The lines sit in the middle of the frame, as a label's do.
  double top = text.frame.y + std::max(0.0, (text.frame.height - bottom) / 2);
  for (double lineTop : tops) out.baselines.emplace_back(text.frame.x, top + lineTop + ascent);
  return out;
}

void QtTableRow::paint(QPainter& painter) const {
  if (!picture_.isNull()) {
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(qRect(cell_.imageFrame), picture_);
  }
  for (const Lines* text : {&title_, &subtitle_}) {
    painter.setFont(text->font);
    painter.setPen(text->color);
    for (qsizetype i = 0; i < text->lines.size(); ++i) {
      painter.drawText(text->baselines[static_cast<size_t>(i)], text->lines[i]);
    }
  }
}

nlohmann::ordered_json QtTableRow::describe(const QtFontBook& fonts) const {
  auto text = [&](const TableCell::Text& source, const Lines& laidOut) {
    nlohmann::ordered_json lines = nlohmann::ordered_json::array();
    for (const QString& line : laidOut.lines) lines.push_back(line.toStdString());
    return nlohmann::ordered_json{{"text", source.text},
                                  {"frame", frameJson(source.frame)},
                                  {"font", fonts.describe(source.font)},
                                  {"textColor", colorString(source.color)},
                                  {"numberOfLines", source.numberOfLines},
                                  {"lines", std::move(lines)}};
  };
  nlohmann::ordered_json out = {{"title", text(cell_.title, title_)},
                                {"subtitle", text(cell_.subtitle, subtitle_)}};
  if (picture_.isNull()) {
    out["image"] = nullptr;
  } else {
    out["image"] = {{"frame", frameJson(cell_.imageFrame)},
                    {"width", pictureSize_.width},
                    {"height", pictureSize_.height}};
  }
  return out;
}

}  // namespace vicinix
