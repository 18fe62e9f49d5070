#pragma once

#include <QColor>
#include <QSizeF>
#include <QTextDocument>

#include "ui/styled_text.h"

class QPainter;

namespace vicinix {

class QtFontBook;

// Text as a label lays it out: word-wrapped (a word wider than the line is
// broken), no margins. The same document measures and draws, so a label
// fitted to its text is exactly as tall as what it draws.
class QtTextBox {
 public:
  QtTextBox();

  void setPlainText(const QString& text, const QFont& font, Qt::Alignment alignment);
  // Each run in its own font and colour; links underlined. The line height
  // multiple applies to every line, the extra space going below each.
  void setStyledText(const StyledText& text, const QtFontBook& fonts, Qt::Alignment alignment);
  // 0: as many lines as the text needs.
  void setMaximumLines(int lines) { maximumLines_ = lines; }

  // The width the longest line needs and the height of the text, wrapped at
  // `width` (no wrapping when it is 0 or less).
  QSizeF sizeAt(double width);
  // Draws the text wrapped at rect's width, centred vertically in it like a
  // phone's label; `textColor` for plain text.
  void draw(QPainter& painter, const QRectF& rect, const QColor& textColor);

  const QTextDocument& document() const { return document_; }

 private:
  // The bottom of the last line drawn.
  double textHeight() const;

  QTextDocument document_;
  int maximumLines_ = 0;
};

}  // namespace vicinix
