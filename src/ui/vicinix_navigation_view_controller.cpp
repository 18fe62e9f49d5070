#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {

std::string VicinixNavigationViewController::description() const {
  std::string text = "VicinixNavigationViewController";
  if (!viewControllers_.empty()) text += " > " + viewControllers_.back()->description();
  return text;
}

}  // namespace vicinix
