#include "ui/sheet_navigation_view_controller.h"

namespace vicinix {

SheetNavigationViewController::SheetNavigationViewController(
    std::shared_ptr<ToolkitViewController> list, std::shared_ptr<ViewController> root)
    : VicinixNavigationViewController(std::move(list)), root_(std::move(root)) {}

void SheetNavigationViewController::pushViewController(
    std::shared_ptr<ToolkitViewController> viewController, bool animated) {
  auto root = root_.lock();
  if (!viewController || !root) return;
  auto sheet = std::make_shared<VicinixNavigationViewController>(std::move(viewController));
  sheet->addDismissButton();
  root->present(sheet, animated);
}

}  // namespace vicinix
