#include "ui/toolkit_view_controller.h"

#include "core/sdk.h"

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

Toolkit* ToolkitViewController::toolkit() {
  return Sdk::isInstalled() ? Sdk::current().toolkit() : nullptr;
}

}  // namespace vicinix
