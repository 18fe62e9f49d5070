#include "ui/fake/fake_toolkit.h"

#include <vector>

#include "ui/fake/fake_text_metric.h"

namespace vicinix {

FakeToolkit::FakeToolkit() : keyWindow_(std::make_shared<FakeView>()) {
  keyWindow_->setFrame(screen_);
  for (auto [name, size] :
       {std::pair{"campaignError", campaignErrorSize}, std::pair{"updateState", updateStateSize},
        std::pair{"noCampaignsIcon", noCampaignsIconSize}}) {
    resources_[name] = image(static_cast<int>(size.width), static_cast<int>(size.height));
  }
}

Size FakeToolkit::boundingSize(const std::string& text, const Font& font, double width) const {
  return FakeTextMetric::layout(text, font, width).size;
}

std::optional<Image> FakeToolkit::resourceImage(const std::string& name) {
  auto found = resources_.find(name);
  if (found == resources_.end()) return std::nullopt;
  return found->second;
}

void FakeToolkit::setMainScreenBounds(const Rect& bounds) {
  screen_ = bounds;
  if (keyWindow_) keyWindow_->setFrame(bounds);
}

void FakeToolkit::setResourceImage(const std::string& name, std::optional<Image> picture) {
  if (picture) {
    resources_[name] = *picture;
  } else {
    resources_.erase(name);
  }
}

Image FakeToolkit::image(int width, int height) {
  auto pixels = std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(width) * height * 4, 0);
  return {width, height, std::move(pixels)};
}

}  // namespace vicinix
