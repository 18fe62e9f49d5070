#include "ui/qt/qt_scroll_indicator.h"

#include <QAbstractScrollArea>
#include <QEvent>
#include <QScrollBar>

namespace vicinix {
namespace {

constexpr int kIndicatorWidth = 10;

}  // namespace

QtScrollIndicator::QtScrollIndicator(QAbstractScrollArea* area)
    : QObject(area), area_(area), indicator_(new QScrollBar(Qt::Vertical, area)) {
  area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  indicator_->setStyleSheet(
      "QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }"
      "QScrollBar::handle:vertical { background: rgba(128, 128, 128, 150);"
      " border-radius: 3px; min-height: 24px; }"
      "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
      "QScrollBar::add-page, QScrollBar::sub-page { background: none; }");
  indicator_->hide();
  QScrollBar* bar = area->verticalScrollBar();
  connect(bar, &QScrollBar::rangeChanged, indicator_, [this, bar](int minimum, int maximum) {
    indicator_->setRange(minimum, maximum);
    indicator_->setPageStep(bar->pageStep());
    indicator_->setSingleStep(bar->singleStep());
    indicator_->setVisible(maximum > minimum);
  });
  connect(bar, &QScrollBar::valueChanged, indicator_, &QScrollBar::setValue);
  connect(indicator_, &QScrollBar::valueChanged, bar, &QScrollBar::setValue);
  area->installEventFilter(this);
  place();
}

bool QtScrollIndicator::eventFilter(QObject* watched, QEvent* event) {
  if (watched == area_ && event->type() == QEvent::Resize) place();
  return QObject::eventFilter(watched, event);
}

void QtScrollIndicator::place() {
  indicator_->setGeometry(area_->width() - kIndicatorWidth, 0, kIndicatorWidth, area_->height());
  indicator_->raise();
}

}  // namespace vicinix
