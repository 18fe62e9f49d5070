#pragma once

#include <QAbstractListModel>
#include <cstdint>
#include <memory>
#include <vector>

#include "ui/qt/qt_table_row.h"

namespace vicinix {

class QtFontBook;

// The rows of a data source as a Qt list model. The row count and heights
// are read once per reload (a number each: the scroll range needs them all);
// a row's content only when it is painted, and the last rows painted are
// kept prepared so scrolling back and forth does not ask again.
class QtTableModel final : public QAbstractListModel {
 public:
  QtTableModel(const QtFontBook& fonts, QObject* parent);

  // Not owned; null empties the table.
  void setSource(TableViewDataSource* source);
  TableViewDataSource* source() const { return source_; }
  // Reads the count and heights again and forgets every prepared row.
  void reload();

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

  // Heights as the source gave them, and where each row starts, in whole pixels.
  double height(int row) const { return heights_[static_cast<size_t>(row)]; }
  int top(int row) const { return tops_[static_cast<size_t>(row)]; }
  int pixelHeight(int row) const { return top(row + 1) - top(row); }
  int contentHeight() const { return tops_.back(); }
  // The first row whose bottom lies below `y`; rowCount() when none does.
  int rowAt(int y) const;
  // Whether every row is as high as the first, so the view may skip laying
  // each one out.
  bool uniformHeights() const { return uniform_; }

  // The row prepared for painting at `width`; asks the source when it is
  // not among the rows kept.
  std::shared_ptr<const QtTableRow> preparedRow(int row, double width) const;

  // How many rows are kept prepared: a few screens' worth.
  static constexpr size_t kKeptRows = 48;

 private:
  struct Kept {
    int row;
    double width;
    uint64_t lastUse;
    std::shared_ptr<const QtTableRow> prepared;
  };

  const QtFontBook& fonts_;
  TableViewDataSource* source_ = nullptr;
  std::vector<double> heights_;
  std::vector<int> tops_{0};
  bool uniform_ = true;
  mutable std::vector<Kept> kept_;
  mutable uint64_t uses_ = 0;
};

}  // namespace vicinix
