#pragma once

#include <QImage>

#include "ui/qt/qt_view.h"

namespace vicinix {

class QtImageWidget;

// A picture, stretched to the frame or fitted inside it, optionally drawn as
// a template (its shape filled with one colour).
class QtImageView final : public QtView<ImageView> {
 public:
  QtImageView();

  void setImage(const std::optional<Image>& image) override;
  void setContentMode(ContentMode mode) override;
  void setTemplateTint(const std::optional<Color>& tint) override;

  // The picture as drawn (tinted when a template), for tests and renders.
  QImage drawnImage() const;

 protected:
  const char* kind() const override { return "image"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  // A picture's own size, as a phone's image view answers.
  Size fittingSize(Size size) const override;

 private:
  void refresh();

  QtImageWidget* image_;  // owned by the view core
  QImage picture_;
  ContentMode mode_ = ContentMode::scaleToFill;
  std::optional<Color> tint_;
};

// Our picture as a Qt image, and back (straight, not premultiplied, RGBA).
QImage qImage(const Image& image);
Image imageFrom(const QImage& image);

}  // namespace vicinix
