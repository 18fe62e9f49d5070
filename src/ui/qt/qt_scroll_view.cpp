#include "ui/qt/qt_scroll_view.h"

#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>
#include <cmath>

#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

constexpr int kIndicatorWidth = 10;

class FloatingScrollArea final : public QScrollArea {
 public:
  FloatingScrollArea() {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(false);
    viewport()->setAutoFillBackground(false);
    // The area's own bar stays hidden and does the scrolling; this one is
    // what the user sees and drags.
    indicator_ = new QScrollBar(Qt::Vertical, this);
    indicator_->setStyleSheet(
        "QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }"
        "QScrollBar::handle:vertical { background: rgba(128, 128, 128, 150);"
        " border-radius: 3px; min-height: 24px; }"
        "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
        "QScrollBar::add-page, QScrollBar::sub-page { background: none; }");
    indicator_->hide();
    QScrollBar* bar = verticalScrollBar();
    connect(bar, &QScrollBar::rangeChanged, indicator_, [this, bar](int minimum, int maximum) {
      indicator_->setRange(minimum, maximum);
      indicator_->setPageStep(bar->pageStep());
      indicator_->setVisible(maximum > minimum);
    });
    connect(bar, &QScrollBar::valueChanged, indicator_, &QScrollBar::setValue);
    connect(indicator_, &QScrollBar::valueChanged, bar, &QScrollBar::setValue);
  }

 protected:
  void resizeEvent(QResizeEvent* event) override {
    QScrollArea::resizeEvent(event);
    indicator_->setGeometry(width() - kIndicatorWidth, 0, kIndicatorWidth, height());
    indicator_->raise();
  }

 private:
  QScrollBar* indicator_;
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
  QWidget* viewport = scrollArea()->viewport();
  QPalette palette = viewport->palette();
  palette.setColor(QPalette::Window, qColor(background_));
  viewport->setPalette(palette);
  viewport->setBackgroundRole(QPalette::Window);
  viewport->setAutoFillBackground(background_.alpha > 0);
}

void QtScrollView::describeContent(nlohmann::ordered_json& out) const {
  out["contentSize"] = {{"width", contentSize_.width}, {"height", contentSize_.height}};
}

}  // namespace vicinix
