#include "ui/qt/qt_scroll_view.h"

#include <QScrollArea>
#include <cmath>

#include "ui/qt/qt_scroll_indicator.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

class FloatingScrollArea final : public QScrollArea {
 public:
  FloatingScrollArea() {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(false);
    viewport()->setAutoFillBackground(false);
    new QtScrollIndicator(this);
  }
};

}  // namespace

QtScrollView::QtScrollView() : QtView(new FloatingScrollArea, true), content_(new QtViewWidget) {
  scrollArea()->setWidget(content_);
  // setWidget() turns the content's background on; it stays clear like any view's.
  content_->setAutoFillBackground(false);
}

QScrollArea* QtScrollView::scrollArea() const {
  return static_cast<QScrollArea*>(widget());
}

void QtScrollView::setContentSize(Size size) {
  contentSize_ = size;
  if (widget() == nullptr) return;
  content_->resize(static_cast<int>(std::ceil(size.width)),
                   static_cast<int>(std::ceil(size.height)));
}

void QtScrollView::applyBackground() {
  if (widget() == nullptr) return;
  setAreaBackground(*scrollArea(), qColor(background_));
}

void QtScrollView::describeContent(nlohmann::ordered_json& out) const {
  out["contentSize"] = {{"width", contentSize_.width}, {"height", contentSize_.height}};
}

}  // namespace vicinix
