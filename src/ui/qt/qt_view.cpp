#include "ui/qt/qt_view.h"

#include "ui/qt/qt_view_widget.h"

namespace vicinix {

QtPlainView::QtPlainView() : QtView(new QtViewWidget, true) {}

QtWindowView::QtWindowView(QWidget* window) : QtView(window, false) {}

Rect QtWindowView::currentFrame() const {
  QWidget* window = widget();
  if (window == nullptr) return {};
  return {0, 0, static_cast<double>(window->width()), static_cast<double>(window->height())};
}

}  // namespace vicinix
