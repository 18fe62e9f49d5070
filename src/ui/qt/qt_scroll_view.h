#pragma once

#include "ui/qt/qt_view.h"

class QScrollArea;

namespace vicinix {

// Subviews on a content area of the content size, scrolled vertically inside
// the frame. The scroll bar floats over the content instead of taking width
// from it, so the screens' frames hold edge to edge.
class QtScrollView final : public QtView<ScrollView> {
 public:
  QtScrollView();

  void setContentSize(Size size) override;
  Size contentSize() const override { return contentSize_; }

  QScrollArea* scrollArea() const;

 protected:
  const char* kind() const override { return "scroll"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  QWidget* container() const override { return content_; }
  void applyBackground() override;

 private:
  QWidget* content_;  // owned by the scroll area
  Size contentSize_;
};

}  // namespace vicinix
