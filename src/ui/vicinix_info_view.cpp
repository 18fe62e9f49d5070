#include "ui/vicinix_info_view.h"

#include <vicinix/vicinix_appearance.h>

namespace vicinix {

VicinixInfoView::VicinixInfoView(Toolkit& toolkit, double offset, const std::optional<Image>& image,
                                 const std::optional<std::string>& text)
    : view_(toolkit.makeView()), icon_(toolkit.makeImageView()), label_(toolkit.makeLabel()) {
  const Rect screen = toolkit.mainScreenBounds();
  const double w = screen.width;
  const double h = screen.height;
  const double spacing = VicinixAppearance::spacing();
  view_->setFrame({0, 0, w, h});
  view_->setBackgroundColor({0, 0, 0, 0});

  // The picture keeps its proportions; without one the space stays square.
  const double iconWidth = 0.4 * w;
  double iconHeight = iconWidth;
  if (image && image->width > 0) iconHeight = iconWidth * image->height / image->width;
  icon_->setFrame({0, 0, iconWidth, iconHeight});
  icon_->setImage(image);
  icon_->setTemplateTint(VicinixAppearance::primaryColor());
  icon_->setContentMode(ContentMode::aspectFit);
  icon_->setCenter({w / 2, h / 2 - offset - 0.2 * iconHeight});
  view_->addSubview(icon_);

  const double iconBottom = icon_->frame().maxY();
  label_->setFrame({16, iconBottom, 0.4 * w - 32, 300});
  label_->setNumberOfLines(0);
  label_->setFont(Font::system(VicinixAppearance::headingFontSize(), FontWeight::semibold));
  label_->setTextColor(VicinixAppearance::headingColor());
  label_->setTextAlignment(TextAlignment::center);
  label_->setText(text.value_or(""));
  label_->sizeToFit();
  const double labelHeight = label_->frame().height;
  label_->setCenter({w / 2, iconBottom + spacing + labelHeight / 2});
  view_->addSubview(label_);
}

}  // namespace vicinix
