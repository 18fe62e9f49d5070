#include "ui/toolkit_view_controller.h"

#include "base/sdk.h"
#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {

const std::shared_ptr<View>& ToolkitViewController::view() {
  if (!view_) {
    if (Toolkit* kit = toolkit()) {
      view_ = kit->makeView();
      view_->setFrame(kit->mainScreenBounds());
      viewDidLoad();
    }
  }
  return view_;
}

double ToolkitViewController::topDistance() const {
  if (navigationController_ && !navigationController_->isNavigationBarTranslucent()) return 0;
  double distance = navigationController_ ? navigationController_->navigationBarHeight() : 0;
  if (Toolkit* kit = toolkit()) distance += kit->statusBarHeight();
  return distance;
}

Toolkit* ToolkitViewController::toolkit() {
  return Sdk::isInstalled() ? Sdk::current().toolkit() : nullptr;
}

}  // namespace vicinix
