#include "ui/qt/qt_table_view.h"

#include <QKeyEvent>
#include <QListView>
#include <QPointer>
#include <QScrollBar>
#include <algorithm>

#include "ui/qt/qt_scroll_indicator.h"
#include "ui/qt/qt_table_delegate.h"
#include "ui/qt/qt_table_model.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

class TableListView final : public QListView {
 public:
  TableListView() {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setResizeMode(QListView::Adjust);
    setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_Hover);
    new QtScrollIndicator(this);
  }

 protected:
  // Enter on the current row picks it, as a click does.
  void keyPressEvent(QKeyEvent* event) override {
    bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && currentIndex().isValid() && state() != EditingState) {
      selectionModel()->select(currentIndex(), QItemSelectionModel::ClearAndSelect);
      emit clicked(currentIndex());
      return;
    }
    QListView::keyPressEvent(event);
  }
};

}  // namespace

QtTableView::QtTableView(const QtFontBook& fonts) : QtView(new TableListView, true), fonts_(fonts) {
  QListView* list = listView();
  model_ = new QtTableModel(fonts, list);
  delegate_ = new QtTableDelegate(*model_, list);
  list->setModel(model_);
  list->setItemDelegate(delegate_);
  QtTableModel* model = model_;
  QObject::connect(list, &QListView::clicked, list, [model](const QModelIndex& index) {
    if (TableViewDataSource* source = model->source()) source->didSelectRow(index.row());
  });
  applyBackground();
}

QListView* QtTableView::listView() const {
  return static_cast<QListView*>(widget());
}

void QtTableView::setDataSource(TableViewDataSource* source) {
  if (widget() == nullptr) return;
  model_->setSource(source);
  listView()->setUniformItemSizes(model_->uniformHeights());
}

void QtTableView::reloadData() {
  if (widget() == nullptr) return;
  model_->reload();
  listView()->setUniformItemSizes(model_->uniformHeights());
}

void QtTableView::setSeparatorStyle(SeparatorStyle style) {
  separatorStyle_ = style;
  if (widget() == nullptr) return;
  delegate_->setSeparatorStyle(style);
  listView()->viewport()->update();
}

void QtTableView::setSeparatorInsets(double left, double right) {
  insetLeft_ = left;
  insetRight_ = right;
  if (widget() == nullptr) return;
  delegate_->setSeparatorInsets(left, right);
  listView()->viewport()->update();
}

void QtTableView::deselectRow(int row, bool) {
  // A row fades out of selection on a phone; a desktop list just lets go.
  if (widget() == nullptr || row < 0 || row >= model_->rowCount()) return;
  listView()->selectionModel()->select(model_->index(row), QItemSelectionModel::Deselect);
}

void QtTableView::applyBackground() {
  if (widget() == nullptr) return;
  setAreaBackground(*listView(), qColor(background_));
}

void QtTableView::describeContent(nlohmann::ordered_json& out) const {
  out["separatorStyle"] = separatorStyle_ == SeparatorStyle::none ? "none" : "singleLine";
  out["separatorInsets"] = {{"left", insetLeft_}, {"right", insetRight_}};
  out["numberOfRows"] = model_ != nullptr && widget() != nullptr ? model_->rowCount() : 0;
  if (widget() == nullptr) return;
  const QtTableModel& model = *model_;
  int offset = listView()->verticalScrollBar()->value();
  int width = listView()->width();
  out["contentHeight"] = model.contentHeight();
  out["contentOffset"] = offset;
  // The rows that show in the frame, worked out from the heights rather
  // than from Qt's layout, which waits for the widget to be shown.
  Rect f = frame();
  auto* selection = listView()->selectionModel();
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (int row = model.rowAt(offset); row < model.rowCount() && model.top(row) < offset + f.height;
       ++row) {
    if (model.pixelHeight(row) == 0) continue;
    nlohmann::ordered_json entry = {{"row", row},
                                    {"frame",
                                     {{"x", 0.0},
                                      {"y", double(model.top(row) - offset)},
                                      {"width", f.width},
                                      {"height", model.height(row)}}}};
    if (selection->isRowSelected(row)) entry["selected"] = true;
    if (auto prepared = model.preparedRow(row, width)) entry.update(prepared->describe(fonts_));
    rows.push_back(std::move(entry));
  }
  out["rows"] = std::move(rows);
}

}  // namespace vicinix
