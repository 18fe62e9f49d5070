#include "ui/qt/qt_window_view_controller.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QShortcut>
#include <QWidget>
#include <algorithm>

#include "ui/qt/qt_view_core.h"
#include "ui/toolkit_view_controller.h"

namespace vicinix {

// Keeps the screen's root view the size of its window, and turns the user
// closing the window into a dismissal.
class QtWindowViewController::WindowWatcher final : public QObject {
 public:
  WindowWatcher(QtWindowViewController& root, std::shared_ptr<View> view, QWidget* window)
      : QObject(window), root_(root), view_(std::move(view)) {
    window->installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject* object, QEvent* event) override {
    auto* window = static_cast<QWidget*>(object);
    if (event->type() == QEvent::Resize) {
      view_->setFrame({0, 0, double(window->width()), double(window->height())});
    } else if (event->type() == QEvent::Close) {
      // We close the window ourselves once the screen is let go.
      event->ignore();
      for (size_t i = 0; i < root_.shown_.size(); ++i) {
        if (root_.shown_[i].window == window) {
          root_.close(i);
          break;
        }
      }
      return true;
    }
    return false;
  }

 private:
  QtWindowViewController& root_;
  std::shared_ptr<View> view_;
};

QtWindowViewController::QtWindowViewController(QWidget* window) : window_(window) {}

QtWindowViewController::~QtWindowViewController() {
  while (!shown_.empty()) close(shown_.size() - 1);
}

void QtWindowViewController::present(std::shared_ptr<ViewController> controller, bool animated) {
  auto* screen = dynamic_cast<ToolkitViewController*>(controller.get());
  std::shared_ptr<View> view = screen != nullptr ? screen->view() : nullptr;
  QtViewCore* core = view ? QtViewCore::of(*view) : nullptr;
  if (core == nullptr || core->widget() == nullptr || windowOf(*controller) != nullptr) return;
  // Links the screen to this root, so that its own dismiss() reaches us.
  ViewController::present(controller, animated);

  QWidget* over = shown_.empty() ? window_.data() : shown_.back().window.data();
  auto* window = new QWidget(over, Qt::Dialog);
  window->setWindowModality(over != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
  window->setWindowTitle(QGuiApplication::applicationDisplayName());
  Rect frame = view->frame();
  window->resize(int(frame.width), int(frame.height));
  core->widget()->setParent(window);
  view->setFrame({0, 0, frame.width, frame.height});
  core->widget()->show();
  new WindowWatcher(*this, view, window);
  auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), window);
  QObject::connect(escape, &QShortcut::activated, window, &QWidget::close);
  if (over != nullptr) {
    window->move(over->geometry().center() - window->rect().center());
  }
  shown_.push_back({controller, window});

  screen->viewWillAppear(animated);
  window->show();
}

void QtWindowViewController::dismiss(bool) {
  if (!shown_.empty()) close(shown_.size() - 1);
}

void QtWindowViewController::close(size_t index) {
  Shown shown = std::move(shown_[index]);
  shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(index));
  // Clears the link made by present() when this was the latest screen.
  if (index == shown_.size()) ViewController::dismiss(false);
  if (!shown.window) return;
  auto* screen = dynamic_cast<ToolkitViewController*>(shown.controller.get());
  if (screen != nullptr && screen->isViewLoaded()) {
    if (QtViewCore* core = QtViewCore::of(*screen->view()); core && core->widget()) {
      // The view owns its widget; the window must not delete it.
      core->widget()->hide();
      core->widget()->setParent(nullptr);
    }
  }
  QWidget* window = shown.window;
  window->hide();
  // The controller goes with the window, after the event being handled.
  QObject::connect(window, &QObject::destroyed, [keep = std::move(shown.controller)] {});
  window->deleteLater();
}

std::vector<std::shared_ptr<ViewController>> QtWindowViewController::presentedViewControllers()
    const {
  std::vector<std::shared_ptr<ViewController>> controllers;
  for (const auto& shown : shown_) controllers.push_back(shown.controller);
  return controllers;
}

QWidget* QtWindowViewController::windowOf(const ViewController& controller) const {
  for (const auto& shown : shown_) {
    if (shown.controller.get() == &controller) return shown.window;
  }
  return nullptr;
}

}  // namespace vicinix
