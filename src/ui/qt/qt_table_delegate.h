#pragma once

#include <QAbstractItemDelegate>

#include "ui/toolkit.h"

namespace vicinix {

class QtTableModel;

// Paints one table row: the light hover wash, the selection in the theme's
// primary colour, the row's picture and texts, and the separator line under
// it.
class QtTableDelegate final : public QAbstractItemDelegate {
 public:
  QtTableDelegate(const QtTableModel& model, QObject* parent);

  void setSeparatorStyle(SeparatorStyle style) { separatorStyle_ = style; }
  void setSeparatorInsets(double left, double right);

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  const QtTableModel& model_;
  SeparatorStyle separatorStyle_ = SeparatorStyle::singleLine;
  double insetLeft_ = 0;
  double insetRight_ = 0;
};

}  // namespace vicinix
