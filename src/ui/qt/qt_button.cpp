#include "ui/qt/qt_button.h"

#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <cmath>

#include "ui/qt/qt_font_book.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

constexpr double kTitlePadding = 6;

}  // namespace

class QtButtonWidget final : public QtViewWidget {
 public:
  QtButtonWidget() { setCursor(Qt::PointingHandCursor); }

  QString title;
  QFont font;
  QColor color;
  std::function<void()> action;

 protected:
  void paintContent(QPainter& painter) override {
    if (pressed_ && underMouse()) painter.fillRect(rect(), QColor(0, 0, 0, 40));
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(QRectF(rect()), Qt::AlignCenter | Qt::TextWordWrap, title);
  }

  void mousePressEvent(QMouseEvent* event) override {
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    pressed_ = true;
    update();
  }

  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() != Qt::LeftButton || !pressed_) return QWidget::mouseReleaseEvent(event);
    pressed_ = false;
    update();
    // Run from the event loop rather than inside this handler: the action
    // may well free this button, by closing the screen it is on. A button
    // gone by then drops the click.
    if (rect().contains(event->position().toPoint()) && action) {
      QTimer::singleShot(0, this, [run = action] { run(); });
    }
  }

 private:
  bool pressed_ = false;
};

QtButton::QtButton(const QtFontBook& fonts)
    : QtView(new QtButtonWidget, true),
      fonts_(fonts),
      button_(static_cast<QtButtonWidget*>(widget())),
      font_(fonts.preferredFont(TextStyle::body)) {
  refresh();
}

void QtButton::setTitle(const std::string& title) {
  title_ = title;
  refresh();
}

void QtButton::setTitleFont(const Font& font) {
  font_ = font;
  refresh();
}

void QtButton::setTitleColor(const Color& color) {
  titleColor_ = color;
  refresh();
}

void QtButton::setAction(std::function<void()> action) {
  if (widget() != nullptr) button_->action = std::move(action);
}

void QtButton::refresh() {
  if (widget() == nullptr) return;
  button_->title = QString::fromStdString(title_);
  button_->font = fonts_.qFont(font_);
  button_->color = qColor(titleColor_);
  button_->update();
}

Size QtButton::fittingSize(Size) const {
  QFontMetricsF metrics(fonts_.qFont(font_));
  double width = title_.empty() ? 0 : metrics.horizontalAdvance(QString::fromStdString(title_));
  return {std::ceil(width), std::ceil(metrics.height() + 2 * kTitlePadding)};
}

void QtButton::describeContent(nlohmann::ordered_json& out) const {
  out["title"] = title_;
  out["titleFont"] = fonts_.describe(font_);
  out["titleColor"] = colorString(titleColor_);
}

}  // namespace vicinix
