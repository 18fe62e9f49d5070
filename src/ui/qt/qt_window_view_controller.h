#pragma once

#include <QPointer>
#include <memory>
#include <vector>

#include "platform/view_controller.h"

class QWidget;

namespace vicinix {

// The host's window as the root the SDK presents its screens on. Each
// screen drawn with the toolkit opens in a window of its own, modal over the
// topmost window (the last screen presented, or the host's window), sized to
// the screen's root view; the screen gets viewWillAppear() just before it
// shows. dismiss() closes the topmost one, as does closing its window.
//
// Every screen is presented on this root, whatever is already shown, so
// presentedViewController() answers none, as the headless root does; the
// shown screens are presentedViewControllers(). Make it with make_shared: a
// presented screen dismisses itself through its weak link to this root.
// Main thread only.
class QtWindowViewController final : public ViewController {
 public:
  // `window` may be null: screens then open as application-modal windows.
  explicit QtWindowViewController(QWidget* window);
  ~QtWindowViewController() override;

  std::shared_ptr<ViewController> presentedViewController() const override { return nullptr; }
  void present(std::shared_ptr<ViewController> controller, bool animated) override;
  void dismiss(bool animated) override;
  std::string description() const override { return "Qt window"; }

  // Bottom first.
  std::vector<std::shared_ptr<ViewController>> presentedViewControllers() const;
  // The window `controller` is shown in; null when it is not shown.
  QWidget* windowOf(const ViewController& controller) const;

 private:
  struct Shown {
    std::shared_ptr<ViewController> controller;
    QPointer<QWidget> window;
  };
  class WindowWatcher;

  // Takes the screen's view out of its window and closes the window; the
  // controller is released once Qt is done with the event at hand, since the
  // click that asked for it may have come from one of its buttons.
  void close(size_t index);

  QPointer<QWidget> window_;
  std::vector<Shown> shown_;
};

}  // namespace vicinix
