#include "ui/qt/qt_table_model.h"

#include <QGuiApplication>
#include <QSize>
#include <algorithm>
#include <cmath>

namespace vicinix {

QtTableModel::QtTableModel(const QtFontBook& fonts, QObject* parent)
    : QAbstractListModel(parent), fonts_(fonts) {}

void QtTableModel::setSource(TableViewDataSource* source) {
  source_ = source;
  reload();
}

void QtTableModel::reload() {
  beginResetModel();
  kept_.clear();
  heights_.clear();
  tops_.assign(1, 0);
  uniform_ = true;
  int count = source_ != nullptr ? std::max(0, source_->numberOfRows()) : 0;
  heights_.reserve(static_cast<size_t>(count));
  tops_.reserve(static_cast<size_t>(count) + 1);
  double bottom = 0;
  for (int row = 0; row < count; ++row) {
    double height = source_->heightForRow(row);
    if (!std::isfinite(height) || height < 0) height = 0;
    heights_.push_back(height);
    // Rows are placed at the exact sum of heights, rounded once, so 10,000
    // rows of 80.4 end where the source expects them to.
    bottom += height;
    tops_.push_back(static_cast<int>(std::lround(bottom)));
    uniform_ = uniform_ && height == heights_.front() && height == std::round(height);
  }
  endResetModel();
}

int QtTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(heights_.size());
}

QVariant QtTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  // Only the size: what a row shows comes from preparedRow(), for the
  // delegate, so the view's own questions never reach the source.
  if (role == Qt::SizeHintRole) return QSize(0, pixelHeight(index.row()));
  return {};
}

int QtTableModel::rowAt(int y) const {
  auto it = std::upper_bound(tops_.begin() + 1, tops_.end(), y);
  return static_cast<int>(it - tops_.begin()) - 1;
}

std::shared_ptr<const QtTableRow> QtTableModel::preparedRow(int row, double width) const {
  if (source_ == nullptr || row < 0 || row >= rowCount()) return nullptr;
  for (Kept& kept : kept_) {
    if (kept.row == row && kept.width == width) {
      kept.lastUse = ++uses_;
      return kept.prepared;
    }
  }
  double ratio = qApp != nullptr ? qApp->devicePixelRatio() : 1.0;
  auto prepared =
      std::make_shared<const QtTableRow>(source_->cellForRow(row, width), fonts_, ratio);
  if (kept_.size() >= kKeptRows) {
    auto oldest = std::min_element(kept_.begin(), kept_.end(), [](const Kept& a, const Kept& b) {
      return a.lastUse < b.lastUse;
    });
    *oldest = Kept{row, width, ++uses_, prepared};
  } else {
    kept_.push_back(Kept{row, width, ++uses_, prepared});
  }
  return prepared;
}

}  // namespace vicinix
