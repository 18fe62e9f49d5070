#pragma once

#include <functional>
#include <memory>
#include <string>

class QApplication;
class QWidget;

namespace vicinix {
class LinuxApplication;
class QtToolkit;
class QtWindowViewController;
class ViewController;
class VicinixListViewController;
class VicinixNavigationViewController;
}  // namespace vicinix

namespace vicinix::host {

// The QApplication of `run --gui`, or null with the reason when there is no
// display to open a window on. A display that turns out to be unreachable
// later ends the process with the same kind of message instead of Qt's abort.
std::unique_ptr<QApplication> openDesktop(std::string& problem);

// The desktop window of `run --gui`: the campaign list under its navigation
// bar, titled with the list's title. The window is the key window's root, so
// a notification click opens its campaign in a sheet over it; a row opens its
// campaign the same way. Closing the window calls `onClose` once; the window
// then only hides, and goes with this object. Main thread only; make it after
// the SDK context is installed and let it go before the context.
class HostWindow {
 public:
  HostWindow(LinuxApplication& application, QtToolkit& toolkit, std::function<void()> onClose);
  ~HostWindow();
  HostWindow(const HostWindow&) = delete;
  HostWindow& operator=(const HostWindow&) = delete;

  void show();
  // Closes it as the user would, unless it is closed already.
  void close();

  QWidget* window() const;

 private:
  class Frame;

  LinuxApplication& application_;
  QtToolkit& toolkit_;
  std::shared_ptr<VicinixListViewController> list_;
  std::shared_ptr<VicinixNavigationViewController> container_;
  std::shared_ptr<QtWindowViewController> root_;
  std::shared_ptr<ViewController> previousRoot_;
  std::unique_ptr<Frame> window_;
};

}  // namespace vicinix::host
