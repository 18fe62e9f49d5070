#include "ui/qt/qt_activity_indicator.h"

#include <QPainter>
#include <QTimer>
#include <algorithm>

#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

constexpr int kSpokes = 12;
constexpr int kStepMs = 80;

}  // namespace

class QtSpinnerWidget final : public QtViewWidget {
 public:
  QtSpinnerWidget() {
    timer_.setInterval(kStepMs);
    QObject::connect(&timer_, &QTimer::timeout, this, [this] {
      step_ = (step_ + 1) % kSpokes;
      update();
    });
  }

  void setRunning(bool running) {
    if (running) {
      timer_.start();
    } else {
      timer_.stop();
    }
    update();
  }

 protected:
  void paintContent(QPainter& painter) override {
    if (!timer_.isActive()) return;
    double side = std::min(width(), height());
    double outer = side / 2, inner = side * 0.22;
    QPen pen(Qt::white, side * 0.085, Qt::SolidLine, Qt::RoundCap);
    painter.translate(width() / 2.0, height() / 2.0);
    for (int i = 0; i < kSpokes; ++i) {
      // The spoke at the current step is brightest; the ones behind it fade.
      int age = (step_ - i + kSpokes) % kSpokes;
      QColor color = Qt::white;
      color.setAlphaF(1.0f - 0.75f * static_cast<float>(age) / kSpokes);
      pen.setColor(color);
      painter.setPen(pen);
      painter.drawLine(QPointF(0, -inner), QPointF(0, -(outer - pen.widthF() / 2)));
      painter.rotate(360.0 / kSpokes);
    }
  }

 private:
  QTimer timer_;
  int step_ = 0;
};

QtActivityIndicator::QtActivityIndicator()
    : QtView(new QtSpinnerWidget, true), spinner_(static_cast<QtSpinnerWidget*>(widget())) {}

void QtActivityIndicator::startAnimating() {
  animating_ = true;
  if (widget() != nullptr) spinner_->setRunning(true);
}

void QtActivityIndicator::stopAnimating() {
  animating_ = false;
  if (widget() != nullptr) spinner_->setRunning(false);
}

void QtActivityIndicator::describeContent(nlohmann::ordered_json& out) const {
  out["animating"] = animating_;
}

}  // namespace vicinix
