#include "ui/fake/fake_table_view.h"

namespace vicinix {

void FakeTableView::reloadData() {
  ++reloads;
  heights.clear();
  visibleCells.clear();
  firstVisibleRow = 0;
  selectedRow.reset();
  rows = dataSource ? dataSource->numberOfRows() : 0;
  double top = 0;
  const double bottom = contentOffset + frame_.height;
  for (int row = 0; row < rows; ++row) {
    const double height = dataSource->heightForRow(row);
    heights.push_back(height);
    if (top + height <= contentOffset) {
      firstVisibleRow = row + 1;
    } else if (top < bottom) {
      visibleCells.push_back(dataSource->cellForRow(row, frame_.width));
    }
    top += height;
  }
}

void FakeTableView::deselectRow(int row, bool animated) {
  if (selectedRow == row) selectedRow.reset();
  deselections.push_back(animated);
}

void FakeTableView::select(int row) {
  selectedRow = row;
  if (dataSource) dataSource->didSelectRow(row);
}

std::string FakeTableView::details() const {
  return " " + std::to_string(rows) + " rows" +
         (separatorStyle == SeparatorStyle::none ? ", no separators" : "");
}

}  // namespace vicinix
