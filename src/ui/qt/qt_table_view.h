#pragma once

#include "ui/qt/qt_view.h"

class QListView;

namespace vicinix {

class QtFontBook;
class QtTableDelegate;
class QtTableModel;

// A table on Qt's model/view: one list view paints every row through a
// delegate, so a table of 10,000 rows holds no widget per row and asks its
// source only for the rows that show. Scrolls by the pixel, with the same
// floating indicator as a scroll view.
class QtTableView final : public QtView<TableView> {
 public:
  explicit QtTableView(const QtFontBook& fonts);

  void setDataSource(TableViewDataSource* source) override;
  void reloadData() override;
  void setSeparatorStyle(SeparatorStyle style) override;
  void setSeparatorInsets(double left, double right) override;
  void deselectRow(int row, bool animated) override;

  QListView* listView() const;
  const QtTableModel& model() const { return *model_; }

 protected:
  const char* kind() const override { return "table"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  void applyBackground() override;

 private:
  const QtFontBook& fonts_;
  QtTableModel* model_;        // owned by the list view
  QtTableDelegate* delegate_;  // owned by the list view
  SeparatorStyle separatorStyle_ = SeparatorStyle::singleLine;
  double insetLeft_ = 0;
  double insetRight_ = 0;
};

}  // namespace vicinix
