#include "ui/qt/qt_table_delegate.h"

#include <vicinix/vicinix_appearance.h>

#include <QPainter>

#include "base/sdk.h"
#include "ui/qt/qt_table_model.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

// Washes over the row's own background, so the screen's colours show through.
const QColor kHover(0, 0, 0, 10);
const QColor kSeparator(60, 60, 67, 74);
constexpr double kSelectionAlpha = 0.22;

QColor selectionColor(const QPalette& palette) {
  // Outside a running SDK (a bare toolkit in a test or a tool) there is no
  // theme to ask; the desktop's own highlight stands in.
  QColor color = Sdk::isInstalled() ? qColor(VicinixAppearance::primaryColor())
                                    : palette.color(QPalette::Highlight);
  color.setAlphaF(static_cast<float>(kSelectionAlpha));
  return color;
}

}  // namespace

QtTableDelegate::QtTableDelegate(const QtTableModel& model, QObject* parent)
    : QAbstractItemDelegate(parent), model_(model) {}

void QtTableDelegate::setSeparatorInsets(double left, double right) {
  insetLeft_ = left;
  insetRight_ = right;
}

void QtTableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
  const QRect& rect = option.rect;
  auto row = model_.preparedRow(index.row(), rect.width());
  painter->save();
  painter->setClipRect(rect);
  if (option.state & QStyle::State_Selected) {
    painter->fillRect(rect, selectionColor(option.palette));
  } else if (option.state & QStyle::State_MouseOver) {
    painter->fillRect(rect, kHover);
  }
  if (separatorStyle_ == SeparatorStyle::singleLine) {
    // One device pixel, on the row's last pixel row, so it never covers the
    // next row's content.
    QRectF line(rect.left() + insetLeft_, rect.bottom(), rect.width() - insetLeft_ - insetRight_,
                1);
    if (line.width() > 0) painter->fillRect(line, kSeparator);
  }
  if (row) {
    painter->translate(rect.topLeft());
    painter->setRenderHint(QPainter::TextAntialiasing);
    row->paint(*painter);
  }
  painter->restore();
}

QSize QtTableDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
  return index.data(Qt::SizeHintRole).toSize();
}

}  // namespace vicinix
