#pragma once

#include <functional>

#include "ui/qt/qt_view.h"

namespace vicinix {

class QtFontBook;
class QtButtonWidget;

// A flat button: its background (rounded with the corner radius) and a
// centred title. A click is a press and a release inside the button; it
// darkens while pressed. The action runs on the next turn of the event loop.
class QtButton final : public QtView<Button> {
 public:
  explicit QtButton(const QtFontBook& fonts);

  void setTitle(const std::string& title) override;
  void setTitleFont(const Font& font) override;
  void setTitleColor(const Color& color) override;
  void setAction(std::function<void()> action) override;

 protected:
  const char* kind() const override { return "button"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  // The title on one line with 6 points above and below, as a touch
  // button's title sits.
  Size fittingSize(Size size) const override;

 private:
  void refresh();

  const QtFontBook& fonts_;
  QtButtonWidget* button_;  // owned by the view core
  std::string title_;
  Font font_;
  Color titleColor_{0, 0.48, 1, 1};
};

}  // namespace vicinix
