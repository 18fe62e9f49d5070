#include "ui/qt/qt_view_widget.h"

#include <QAbstractScrollArea>
#include <QPainter>
#include <QPainterPath>

namespace vicinix {

QColor qColor(const Color& color) {
  return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                          static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

void setAreaBackground(QAbstractScrollArea& area, const QColor& color) {
  QWidget* viewport = area.viewport();
  QPalette palette = viewport->palette();
  palette.setColor(QPalette::Window, color);
  palette.setColor(QPalette::Base, color);
  viewport->setPalette(palette);
  viewport->setBackgroundRole(QPalette::Window);
  viewport->setAutoFillBackground(color.alpha() > 0);
}

QtViewWidget::QtViewWidget(QWidget* parent) : QWidget(parent) {}

void QtViewWidget::setBackground(const QColor& color) {
  background_ = color;
  update();
}

void QtViewWidget::setCornerRadius(double radius) {
  cornerRadius_ = radius;
  update();
}

void QtViewWidget::setClipsContent(bool clips) {
  clipsContent_ = clips;
  update();
}

void QtViewWidget::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  QPainterPath shape;
  if (cornerRadius_ > 0) {
    shape.addRoundedRect(QRectF(rect()), cornerRadius_, cornerRadius_);
  } else {
    shape.addRect(QRectF(rect()));
  }
  if (background_.alpha() > 0) painter.fillPath(shape, background_);
  if (clipsContent_ && cornerRadius_ > 0) painter.setClipPath(shape);
  paintContent(painter);
}

}  // namespace vicinix
