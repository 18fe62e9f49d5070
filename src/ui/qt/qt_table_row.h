#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QString>
#include <nlohmann/json.hpp>
#include <vector>

#include "ui/toolkit.h"

class QPainter;

namespace vicinix {

class QtFontBook;

// One table row made ready to paint: its picture already scaled to the
// pixels of its frame and its texts already broken into the lines they
// show, so painting the row again while it scrolls only draws.
class QtTableRow {
 public:
  QtTableRow(const TableCell& cell, const QtFontBook& fonts, double devicePixelRatio);

  // Paints the row with its top left at the painter's origin.
  void paint(QPainter& painter) const;

  // The row as the layout file shows it: texts, frames, fonts, picture size.
  nlohmann::ordered_json describe(const QtFontBook& fonts) const;

  // The lines a text shows, after wrapping and eliding.
  QStringList titleLines() const { return title_.lines; }
  QStringList subtitleLines() const { return subtitle_.lines; }

 private:
  struct Lines {
    QFont font;
    QColor color;
    QStringList lines;
    std::vector<QPointF> baselines;  // in the row
  };
  static Lines layOut(const TableCell::Text& text, const QFont& font);

  TableCell cell_;  // without its picture, which is kept scaled below
  Size pictureSize_;
  QImage picture_;
  Lines title_;
  Lines subtitle_;
};

}  // namespace vicinix
