#include "ui/qt/qt_image_view.h"

#include <QPainter>
#include <cstring>

#include "ui/qt/qt_view_widget.h"

namespace vicinix {

class QtImageWidget final : public QtViewWidget {
 public:
  QImage image;
  bool aspectFit = false;

 protected:
  void paintContent(QPainter& painter) override {
    if (image.isNull()) return;
    QRectF target(rect());
    if (aspectFit) {
      QSizeF fitted = QSizeF(image.size()).scaled(target.size(), Qt::KeepAspectRatio);
      target = QRectF(QPointF(0, 0), fitted);
      target.moveCenter(QRectF(rect()).center());
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, image);
  }
};

QImage qImage(const Image& image) {
  if (image.empty()) return {};
  QImage wrapped(image.rgba->data(), image.width, image.height, image.width * 4,
                 QImage::Format_RGBA8888);
  // The wrapper only borrows the bytes.
  return wrapped.copy();
}

Image imageFrom(const QImage& image) {
  if (image.isNull()) return {};
  QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
  auto bytes = std::make_shared<std::vector<uint8_t>>(size_t(rgba.width()) * rgba.height() * 4);
  for (int y = 0; y < rgba.height(); ++y) {
    std::memcpy(bytes->data() + size_t(y) * rgba.width() * 4, rgba.constScanLine(y),
                size_t(rgba.width()) * 4);
  }
  return Image{rgba.width(), rgba.height(), std::move(bytes)};
}

QtImageView::QtImageView()
    : QtView(new QtImageWidget, true), image_(static_cast<QtImageWidget*>(widget())) {}

void QtImageView::setImage(const std::optional<Image>& image) {
  picture_ = image ? qImage(*image) : QImage();
  refresh();
}

void QtImageView::setContentMode(ContentMode mode) {
  mode_ = mode;
  refresh();
}

void QtImageView::setTemplateTint(const std::optional<Color>& tint) {
  tint_ = tint;
  refresh();
}

QImage QtImageView::drawnImage() const {
  if (picture_.isNull() || !tint_) return picture_;
  // Keep each pixel's coverage, take the colour from the tint.
  QImage tinted = picture_.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&tinted);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(tinted.rect(), qColor(*tint_));
  return tinted;
}

void QtImageView::refresh() {
  if (widget() == nullptr) return;
  image_->image = drawnImage();
  image_->aspectFit = mode_ == ContentMode::aspectFit;
  image_->update();
}

Size QtImageView::fittingSize(Size) const {
  if (picture_.isNull()) return {};
  return {double(picture_.width()), double(picture_.height())};
}

void QtImageView::describeContent(nlohmann::ordered_json& out) const {
  out["contentMode"] = mode_ == ContentMode::aspectFit ? "aspectFit" : "scaleToFill";
  if (picture_.isNull()) {
    out["image"] = nullptr;
  } else {
    out["image"] = {{"width", picture_.width()}, {"height", picture_.height()}};
  }
  if (tint_) out["templateTint"] = colorString(*tint_);
}

}  // namespace vicinix
