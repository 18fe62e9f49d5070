#include "ui/qt/qt_toolkit.h"

#include <unistd.h>

#include <QGuiApplication>
#include <QImage>
#include <QLoggingCategory>
#include <QScreen>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "ui/qt/qt_activity_indicator.h"
#include "ui/qt/qt_button.h"
#include "ui/qt/qt_image_view.h"
#include "ui/qt/qt_label.h"
#include "ui/qt/qt_scroll_view.h"
#include "ui/qt/qt_table_view.h"
#include "ui/qt/qt_text_box.h"
#include "ui/qt/qt_view.h"
#include "ui/qt/qt_web_view.h"

namespace vicinix {
namespace {

// A phone-like sheet: the campaign pages are written for portrait screens.
Size defaultScreenSize() {
  Size size{420, 820};
  if (QScreen* screen = QGuiApplication::primaryScreen()) {
    QRect available = screen->availableGeometry();
    size.width = std::min(size.width, std::floor(available.width() * 0.9));
    size.height = std::min(size.height, std::floor(available.height() * 0.9));
  }
  return size;
}

}  // namespace

void QtToolkit::prepareApplication() {
  // Chromium refuses to start as root with its sandbox on; CI and kiosks
  // often run as root. QTWEBENGINE_CHROMIUM_FLAGS=--no-sandbox would also do,
  // but a host may already be setting its own flags there.
  if (geteuid() == 0) setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 0);
  // Without a render node Chromium probes for a GPU, fails, says so at length
  // and falls back to software anyway.
  if (access("/dev/dri", F_OK) != 0) {
    const char* set = getenv("QTWEBENGINE_CHROMIUM_FLAGS");
    std::string flags = set != nullptr ? set : "";
    if (flags.find("--disable-gpu") == std::string::npos) {
      flags += flags.empty() ? "--disable-gpu" : " --disable-gpu";
      setenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.c_str(), 1);
    }
  }
  // The engine's context and the widgets share GL resources; asked for
  // before the application exists, or the engine warns and works around it.
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
  // The engine logs its whole configuration at start-up. Rules set here
  // stay below QT_LOGGING_RULES, so a user can still turn it back on.
  QLoggingCategory::setFilterRules("qt.webenginecontext*=false");
}

QtToolkit::QtToolkit(std::optional<Size> screenSize)
    : screenSize_(screenSize.value_or(defaultScreenSize())) {}

QtToolkit::~QtToolkit() = default;

std::shared_ptr<View> QtToolkit::makeView() {
  return std::make_shared<QtPlainView>();
}

std::shared_ptr<Label> QtToolkit::makeLabel() {
  return std::make_shared<QtLabel>(fonts_);
}

std::shared_ptr<ImageView> QtToolkit::makeImageView() {
  return std::make_shared<QtImageView>();
}

std::shared_ptr<Button> QtToolkit::makeButton() {
  return std::make_shared<QtButton>(fonts_);
}

std::shared_ptr<ScrollView> QtToolkit::makeScrollView() {
  return std::make_shared<QtScrollView>();
}

std::shared_ptr<ActivityIndicator> QtToolkit::makeActivityIndicator() {
  return std::make_shared<QtActivityIndicator>();
}

std::shared_ptr<TableView> QtToolkit::makeTableView() {
  return std::make_shared<QtTableView>(fonts_);
}

std::shared_ptr<WebView> QtToolkit::makeWebView() {
  return std::make_shared<QtWebView>();
}

Size QtToolkit::boundingSize(const std::string& text, const Font& font, double width) const {
  QtTextBox box;
  box.setPlainText(QString::fromStdString(text), fonts_.qFont(font), Qt::AlignLeft);
  QSizeF size = box.sizeAt(width);
  return {std::ceil(size.width()), std::ceil(size.height())};
}

std::shared_ptr<View> QtToolkit::keyWindow() {
  // A window the host has since deleted is no window.
  if (keyWindow_ && keyWindow_->widget() == nullptr) keyWindow_.reset();
  return keyWindow_;
}

void QtToolkit::setKeyWindow(QWidget* window) {
  keyWindow_ = window != nullptr ? std::make_shared<QtWindowView>(window) : nullptr;
}

std::optional<Image> QtToolkit::resourceImage(const std::string& name) {
  QImage picture(":/vicinix/pictures/" + QString::fromStdString(name) + ".png");
  if (picture.isNull()) return std::nullopt;
  return imageFrom(picture);
}

}  // namespace vicinix
