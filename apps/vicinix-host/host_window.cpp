#include "host_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeySequence>
#include <QShortcut>
#include <QWidget>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "platform/linux/linux_application.h"
#include "qt_messages.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/qt/qt_window_view_controller.h"
#include "ui/sheet_navigation_view_controller.h"
#include "ui/vicinix_list_view_controller.h"
#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix::host {
namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// What Qt said while it looked for a display: shown only if it finds none.
std::string gDisplayMessages;

void displayMessages(QtMsgType type, const QMessageLogContext&, const QString& message) {
  gDisplayMessages += "  " + message.toStdString() + "\n";
  if (type == QtFatalMsg) {
    std::cerr << "run: error: --gui cannot open a window on the display:\n" << gDisplayMessages;
    std::_Exit(2);
  }
}

}  // namespace

std::unique_ptr<QApplication> openDesktop(std::string& problem) {
  const std::string_view platform = isSet("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "";
  const bool onDisplay =
      platform.empty() || platform.starts_with("xcb") || platform.starts_with("wayland");
  if (onDisplay && !isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) {
    problem =
        "--gui needs a desktop, and neither DISPLAY nor WAYLAND_DISPLAY is set; "
        "run without --gui for the headless host";
    return nullptr;
  }
  // A web-page campaign's detail starts the web engine, which must be set up
  // before the application exists.
  QtToolkit::prepareApplication();
  // Qt aborts when the display cannot be reached; say so in our own words.
  QtMessageHandler previous = qInstallMessageHandler(displayMessages);
  static int argc = 1;
  static char name[] = "vicinix-host";
  static char* argv[] = {name, nullptr};
  auto application = std::make_unique<QApplication>(argc, argv);
  qInstallMessageHandler(previous);
  gDisplayMessages.clear();
  // Qt takes the whole of the user's locale; the SDK writes numbers and
  // dates for the backend, so only the messages and the character set stay.
  std::setlocale(LC_ALL, "C");
  std::setlocale(LC_MESSAGES, "");
  std::setlocale(LC_CTYPE, "");
  quietenQtMessages();
  return application;
}

class HostWindow::Frame final : public QWidget {
 public:
  explicit Frame(std::function<void()> onClose) : onClose_(std::move(onClose)) {}

 protected:
  void closeEvent(QCloseEvent* event) override {
    event->accept();
    if (closed_) return;
    closed_ = true;
    if (onClose_) onClose_();
  }

 private:
  std::function<void()> onClose_;
  bool closed_ = false;
};

HostWindow::HostWindow(LinuxApplication& application, QtToolkit& toolkit,
                       std::function<void()> onClose)
    : application_(application), toolkit_(toolkit) {
  window_ = std::make_unique<Frame>([this, onClose = std::move(onClose)] {
    // The sheets go with the window rather than stay behind on their own.
    while (!root_->presentedViewControllers().empty()) root_->dismiss(false);
    if (onClose) onClose();
  });
  root_ = std::make_shared<QtWindowViewController>(window_.get());
  list_ = std::make_shared<VicinixListViewController>();
  container_ = std::make_shared<SheetNavigationViewController>(list_, root_);

  QWidget* content = QtViewCore::of(*container_->view())->widget();
  content->setParent(window_.get());
  content->move(0, 0);
  content->show();
  // The screens place their views once, for the size of the toolkit's
  // screen; the window keeps that size rather than stretch a layout that
  // does not follow it.
  const Rect bounds = toolkit_.mainScreenBounds();
  window_->setFixedSize(int(bounds.width), int(bounds.height));
  window_->setWindowTitle(QString::fromStdString(list_->navigationItem.title));
  auto* quit = new QShortcut(QKeySequence::Quit, window_.get());
  QObject::connect(quit, &QShortcut::activated, window_.get(), &QWidget::close);

  toolkit_.setKeyWindow(window_.get());
  previousRoot_ = application_.keyWindowRootViewController();
  application_.setKeyWindowRootViewController(root_);
}

HostWindow::~HostWindow() {
  // What comes after the window (a click on a late notification) goes where
  // it went before.
  application_.setKeyWindowRootViewController(previousRoot_);
  toolkit_.setKeyWindow(nullptr);
  root_.reset();
  // The container's view owns its widget: take it out before the window,
  // which would delete it as its child, goes.
  if (QWidget* content = QtViewCore::of(*container_->view())->widget()) {
    content->setParent(nullptr);
  }
  container_.reset();
  list_.reset();
  window_.reset();
}

void HostWindow::show() {
  // The list reads its rows, and the badge is cleared, as it comes up.
  container_->viewWillAppear(false);
  window_->show();
}

QWidget* HostWindow::window() const {
  return window_.get();
}

void HostWindow::close() {
  window_->close();
}

}  // namespace vicinix::host
