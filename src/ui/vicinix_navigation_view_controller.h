#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ui/toolkit_view_controller.h"

namespace vicinix {

// The modal container the SDK presents its screens in, with a dismiss button.
class VicinixNavigationViewController : public ToolkitViewController {
 public:
  void setViewControllers(std::vector<std::shared_ptr<ViewController>> viewControllers) {
    viewControllers_ = std::move(viewControllers);
  }
  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const {
    return viewControllers_;
  }
  void addDismissButton() { hasDismissButton_ = true; }
  bool hasDismissButton() const { return hasDismissButton_; }

  // "VicinixNavigationViewController > " and the top screen's description.
  std::string description() const override;

 private:
  std::vector<std::shared_ptr<ViewController>> viewControllers_;
  bool hasDismissButton_ = false;
};

}  // namespace vicinix
