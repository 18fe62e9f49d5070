#pragma once

#include <vicinix/color.h>

#include <QColor>
#include <QWidget>

class QAbstractScrollArea;
class QPainter;

namespace vicinix {

// The widget under every toolkit view but the scroll view: paints the
// view's background, rounded when it has a corner radius, and then its
// content. Clear by default.
class QtViewWidget : public QWidget {
 public:
  explicit QtViewWidget(QWidget* parent = nullptr);

  void setBackground(const QColor& color);
  void setCornerRadius(double radius);
  // Content is painted inside the rounded corners.
  void setClipsContent(bool clips);

 protected:
  void paintEvent(QPaintEvent* event) final;
  virtual void paintContent(QPainter& painter) { (void)painter; }
  const QColor& background() const { return background_; }

 private:
  QColor background_ = Qt::transparent;
  double cornerRadius_ = 0;
  bool clipsContent_ = false;
};

// A colour of ours as Qt's.
QColor qColor(const Color& color);

// Fills what a scrolling view shows behind its content; a clear colour
// leaves it unpainted, like any view's.
void setAreaBackground(QAbstractScrollArea& area, const QColor& color);

}  // namespace vicinix
