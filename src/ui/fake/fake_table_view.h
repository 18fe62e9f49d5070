#pragma once

#include <optional>
#include <vector>

#include "ui/fake/fake_views.h"
#include "ui/toolkit.h"

namespace vicinix {

// A table that asks its data source what a real one asks when it reloads:
// the row count, the heights from the top, and the cells of the rows that
// fit in its frame from `contentOffset` down. Tests read what it was told
// and pick rows as a user would.
class FakeTableView final : public FakeViewOf<TableView, FakeViewKind::tableView> {
 public:
  void setDataSource(TableViewDataSource* source) override { dataSource = source; }
  void reloadData() override;
  void setSeparatorStyle(SeparatorStyle style) override { separatorStyle = style; }
  void setSeparatorInsets(double left, double right) override { separatorInsets = {left, right}; }
  void deselectRow(int row, bool animated) override;

  // A click on `row`: selects it and tells the data source.
  void select(int row);

  TableViewDataSource* dataSource = nullptr;
  SeparatorStyle separatorStyle = SeparatorStyle::singleLine;
  std::pair<double, double> separatorInsets{15, 0};
  // Where the shown part starts, from the top of the first row.
  double contentOffset = 0;
  int reloads = 0;
  // As of the last reload.
  int rows = 0;
  std::vector<double> heights;
  std::vector<TableCell> visibleCells;  // from the first row shown
  int firstVisibleRow = 0;
  std::optional<int> selectedRow;
  std::vector<bool> deselections;  // `animated` of each deselectRow()

 protected:
  std::string details() const override;
};

}  // namespace vicinix
