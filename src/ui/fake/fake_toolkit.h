#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "ui/fake/fake_font_book.h"
#include "ui/fake/fake_table_view.h"
#include "ui/fake/fake_views.h"
#include "ui/fake/fake_web_view.h"
#include "ui/toolkit.h"

namespace vicinix {

// A toolkit that draws nothing and records the view tree, measuring text with
// FakeTextMetric. By default: a 320 × 568 screen, a 20-point status bar, a
// key window covering the screen, and the SDK's three pictures at sizes of
// distinct proportions. Install it in a test with
//
//   auto kit = std::make_shared<FakeToolkit>();
//   FakeSdk env([&](Platform& platform) { platform.toolkit = kit; });
class FakeToolkit final : public Toolkit {
 public:
  static constexpr Size campaignErrorSize{200, 100};
  static constexpr Size updateStateSize{100, 100};
  static constexpr Size noCampaignsIconSize{100, 150};

  FakeToolkit();

  std::shared_ptr<View> makeView() override { return std::make_shared<FakeView>(); }
  std::shared_ptr<Label> makeLabel() override { return std::make_shared<FakeLabel>(); }
  std::shared_ptr<ImageView> makeImageView() override { return std::make_shared<FakeImageView>(); }
  std::shared_ptr<Button> makeButton() override { return std::make_shared<FakeButton>(); }
  std::shared_ptr<ScrollView> makeScrollView() override {
    return std::make_shared<FakeScrollView>();
  }
  std::shared_ptr<ActivityIndicator> makeActivityIndicator() override {
    return std::make_shared<FakeActivityIndicator>();
  }
  std::shared_ptr<TableView> makeTableView() override { return std::make_shared<FakeTableView>(); }

  std::shared_ptr<WebView> makeWebView() override { return std::make_shared<FakeWebView>(); }

  const FontBook& fonts() const override { return fonts_; }
  Size boundingSize(const std::string& text, const Font& font, double width) const override;

  Rect mainScreenBounds() const override { return screen_; }
  double statusBarHeight() const override { return statusBarHeight_; }
  std::shared_ptr<View> keyWindow() override { return keyWindow_; }
  std::optional<Image> resourceImage(const std::string& name) override;

  // The key window is resized with the screen.
  void setMainScreenBounds(const Rect& bounds);
  void setStatusBarHeight(double height) { statusBarHeight_ = height; }
  // Null: the host shows no window.
  void setKeyWindow(std::shared_ptr<View> window) { keyWindow_ = std::move(window); }
  void setResourceImage(const std::string& name, std::optional<Image> image);

  // A blank picture of the given size.
  static Image image(int width, int height);

 private:
  FakeFontBook fonts_;
  Rect screen_{0, 0, 320, 568};
  double statusBarHeight_ = 20;
  std::shared_ptr<View> keyWindow_;
  std::map<std::string, Image> resources_;
};

}  // namespace vicinix
