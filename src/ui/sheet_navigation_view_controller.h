#pragma once

#include <vicinix/export.h>

#include <memory>

#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {

// The campaign list's container in a desktop window. There is room beside the
// list, so a campaign the list opens comes up in a sheet with "Close" over
// the window, as one from a notification does, and the list stays where it was.
class VICINIX_EXPORT SheetNavigationViewController final : public VicinixNavigationViewController {
 public:
  SheetNavigationViewController(std::shared_ptr<ToolkitViewController> list,
                                std::shared_ptr<ViewController> root);

  void pushViewController(std::shared_ptr<ToolkitViewController> viewController,
                          bool animated) override;

 private:
  std::weak_ptr<ViewController> root_;
};

}  // namespace vicinix
