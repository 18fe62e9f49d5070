#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ui/toolkit.h"

namespace vicinix {

enum class FakeViewKind {
  view,
  label,
  imageView,
  button,
  scrollView,
  activityIndicator,
  tableView,
  webView,
};
std::string_view toString(FakeViewKind kind);

// What every fake view records, readable by tests as plain fields. Setting a
// frame of another size resizes the subviews that grow with their superview.
class FakeNode {
 public:
  // Subviews that live on lose their superview.
  virtual ~FakeNode();
  virtual FakeViewKind kind() const = 0;
  virtual View& view() = 0;

  // The fake behind a view the fake toolkit made.
  static FakeNode& of(const View& view);

  // Every view below this one, depth first in drawing order.
  std::vector<FakeNode*> descendants() const;
  template <class T>
  std::vector<T*> descendantsOfType() const {
    std::vector<T*> found;
    for (FakeNode* node : descendants()) {
      if (auto* typed = dynamic_cast<T*>(node)) found.push_back(typed);
    }
    return found;
  }
  // One line per view, indented by depth, for test failure messages.
  std::string tree(int depth = 0) const;

  Rect frame() const { return frame_; }
  View* superview() const { return superview_; }

  Color backgroundColor{0, 0, 0, 0};
  double cornerRadius = 0;
  bool clipsToBounds = false;
  bool resizesWidth = false;
  bool resizesHeight = false;
  bool hidden = false;
  std::vector<std::shared_ptr<View>> subviews;

 protected:
  virtual std::string details() const { return ""; }
  void applyFrame(const Rect& newFrame);
  void add(const std::shared_ptr<View>& child);
  void removeFromParent();

  Rect frame_;
  View* superview_ = nullptr;
};

// The View part every fake view shares.
template <class Interface, FakeViewKind Kind>
class FakeViewOf : public Interface, public FakeNode {
 public:
  FakeViewKind kind() const override { return Kind; }
  View& view() override { return *this; }

  Rect frame() const override { return frame_; }
  void setFrame(const Rect& rect) override { applyFrame(rect); }
  void setBackgroundColor(const Color& color) override { backgroundColor = color; }
  void setCornerRadius(double radius) override { cornerRadius = radius; }
  void setClipsToBounds(bool clips) override { clipsToBounds = clips; }
  void setResizesWithSuperview(bool width, bool height) override {
    resizesWidth = width;
    resizesHeight = height;
  }
  void setHidden(bool isHidden) override { hidden = isHidden; }
  void addSubview(const std::shared_ptr<View>& child) override { add(child); }
  void removeFromSuperview() override { removeFromParent(); }
  View* superview() const override { return superview_; }
  Size sizeThatFits(Size size) const override {
    (void)size;
    return frame_.size();
  }
};

using FakeView = FakeViewOf<View, FakeViewKind::view>;

class FakeLabel final : public FakeViewOf<Label, FakeViewKind::label> {
 public:
  void setText(const std::string& value) override {
    text = value;
    styledText.reset();
  }
  void setFont(const Font& value) override { font = value; }
  void setTextColor(const Color& color) override { textColor = color; }
  void setTextAlignment(TextAlignment value) override { alignment = value; }
  void setNumberOfLines(int lines) override { numberOfLines = lines; }
  void setStyledText(const StyledText& value) override {
    styledText = value;
    text = value.string();
  }
  Size sizeThatFits(Size size) const override;

  std::string text;  // the styled text's characters when it is styled
  Font font = Font::system(17);
  Color textColor{0, 0, 0, 1};
  TextAlignment alignment = TextAlignment::left;
  int numberOfLines = 1;
  std::optional<StyledText> styledText;

 protected:
  std::string details() const override;
};

class FakeImageView final : public FakeViewOf<ImageView, FakeViewKind::imageView> {
 public:
  void setImage(const std::optional<Image>& value) override { image = value; }
  void setContentMode(ContentMode mode) override { contentMode = mode; }
  void setTemplateTint(const std::optional<Color>& value) override { tint = value; }
  Size sizeThatFits(Size size) const override;

  std::optional<Image> image;
  ContentMode contentMode = ContentMode::scaleToFill;
  std::optional<Color> tint;

 protected:
  std::string details() const override;
};

class FakeButton final : public FakeViewOf<Button, FakeViewKind::button> {
 public:
  void setTitle(const std::string& value) override { title = value; }
  void setTitleFont(const Font& value) override { titleFont = value; }
  void setTitleColor(const Color& color) override { titleColor = color; }
  void setAction(std::function<void()> value) override { action = std::move(value); }
  // The title on one line.
  Size sizeThatFits(Size size) const override;

  // What a user's tap does. A copy runs, so the action may replace itself.
  void tap() {
    if (auto run = action) run();
  }

  std::string title;
  Font titleFont = Font::system(15);
  Color titleColor{0, 0, 1, 1};
  std::function<void()> action;

 protected:
  std::string details() const override;
};

class FakeScrollView final : public FakeViewOf<ScrollView, FakeViewKind::scrollView> {
 public:
  void setContentSize(Size size) override { content = size; }
  Size contentSize() const override { return content; }

  Size content;
};

class FakeActivityIndicator final
    : public FakeViewOf<ActivityIndicator, FakeViewKind::activityIndicator> {
 public:
  void startAnimating() override { animating = true; }
  void stopAnimating() override { animating = false; }
  bool isAnimating() const override { return animating; }

  bool animating = false;
};

}  // namespace vicinix
