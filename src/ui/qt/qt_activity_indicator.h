#pragma once

#include "ui/qt/qt_view.h"

namespace vicinix {

class QtSpinnerWidget;

// Twelve white spokes turning a step at a time, drawn to fit the frame;
// nothing is drawn while stopped.
class QtActivityIndicator final : public QtView<ActivityIndicator> {
 public:
  QtActivityIndicator();

  void startAnimating() override;
  void stopAnimating() override;
  bool isAnimating() const override { return animating_; }

 protected:
  const char* kind() const override { return "activityIndicator"; }
  void describeContent(nlohmann::ordered_json& out) const override;

 private:
  QtSpinnerWidget* spinner_;  // owned by the view core
  bool animating_ = false;
};

}  // namespace vicinix
