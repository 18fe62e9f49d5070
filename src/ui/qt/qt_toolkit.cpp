#include "ui/qt/qt_toolkit.h"

#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QWidget>
#include <algorithm>
#include <cmath>

#include "ui/qt/qt_activity_indicator.h"
#include "ui/qt/qt_button.h"
#include "ui/qt/qt_image_view.h"
#include "ui/qt/qt_label.h"
#include "ui/qt/qt_scroll_view.h"
#include "ui/qt/qt_table_view.h"
#include "ui/qt/qt_text_box.h"
#include "ui/qt/qt_view.h"

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
