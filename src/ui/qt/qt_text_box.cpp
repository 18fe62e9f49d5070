#include "ui/qt/qt_text_box.h"

#include <QAbstractTextDocumentLayout>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextLayout>
#include <algorithm>

#include "ui/qt/qt_font_book.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {

QtTextBox::QtTextBox() {
  document_.setDocumentMargin(0);
  document_.setUndoRedoEnabled(false);
}

namespace {

QTextOption wrappingOption(Qt::Alignment alignment) {
  QTextOption option(alignment);
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  return option;
}

}  // namespace

void QtTextBox::setPlainText(const QString& text, const QFont& font, Qt::Alignment alignment) {
  document_.setDefaultFont(font);
  document_.setDefaultTextOption(wrappingOption(alignment));
  document_.setPlainText(text);
  // Clearing the document resets its root frame, margin included.
  document_.setDocumentMargin(0);
}

void QtTextBox::setStyledText(const StyledText& text, const QtFontBook& fonts,
                              Qt::Alignment alignment) {
  document_.clear();
  document_.setDocumentMargin(0);
  document_.setDefaultTextOption(wrappingOption(alignment));
  if (!text.runs.empty()) document_.setDefaultFont(fonts.qFont(text.runs.front().font));
  QTextCursor cursor(&document_);
  for (const TextRun& run : text.runs) {
    QTextCharFormat format;
    format.setFont(fonts.qFont(run.font), QTextCharFormat::FontPropertiesAll);
    format.setForeground(qColor(run.color));
    if (run.link) {
      format.setAnchor(true);
      format.setAnchorHref(QString::fromStdString(*run.link));
      format.setFontUnderline(true);
    }
    // Newlines become paragraph breaks here, as in the source text.
    cursor.insertText(QString::fromStdString(run.text), format);
  }
  if (text.lineHeightMultiple > 0) {
    QTextBlockFormat spacing;
    spacing.setLineHeight(text.lineHeightMultiple * 100, QTextBlockFormat::ProportionalHeight);
    cursor.select(QTextCursor::Document);
    cursor.mergeBlockFormat(spacing);
  }
}

QSizeF QtTextBox::sizeAt(double width) {
  document_.setTextWidth(width > 0 ? width : -1);
  return {document_.idealWidth(), textHeight()};
}

double QtTextBox::textHeight() const {
  double height = document_.documentLayout()->documentSize().height();
  if (maximumLines_ <= 0) return height;
  int lines = 0;
  for (QTextBlock block = document_.begin(); block.isValid(); block = block.next()) {
    QTextLayout* layout = block.layout();
    QRectF area = document_.documentLayout()->blockBoundingRect(block);
    for (int i = 0; i < layout->lineCount(); ++i) {
      if (++lines == maximumLines_) {
        QTextLine line = layout->lineAt(i);
        return std::min(height, area.top() + line.y() + line.height());
      }
    }
  }
  return height;
}

void QtTextBox::draw(QPainter& painter, const QRectF& rect, const QColor& textColor) {
  document_.setTextWidth(rect.width());
  double height = textHeight();
  painter.save();
  painter.translate(rect.left(), rect.top() + std::max(0.0, (rect.height() - height) / 2));
  QAbstractTextDocumentLayout::PaintContext context;
  context.palette.setColor(QPalette::Text, textColor);
  context.clip = QRectF(0, 0, rect.width(), height);
  painter.setClipRect(context.clip, Qt::IntersectClip);
  document_.documentLayout()->draw(&painter, context);
  painter.restore();
}

}  // namespace vicinix
