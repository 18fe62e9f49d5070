#pragma once

#include <vicinix/export.h>

#include <memory>
#include <string>
#include <vector>

#include "ui/color.h"
#include "ui/toolkit_view_controller.h"

namespace vicinix {

// The modal container the SDK presents its screens in: a stack of screens
// under a navigation bar in the theme's primary colour, the top one shown.
// The bar shows the top screen's title, its right bar button, and a back
// button once a second screen is pushed. Keep the container in a shared_ptr:
// its bar buttons reach it through a weak reference.
class VICINIX_EXPORT VicinixNavigationViewController : public ToolkitViewController {
 public:
  static constexpr double kNavigationBarHeight = 44;

  VicinixNavigationViewController() = default;
  explicit VicinixNavigationViewController(
      std::shared_ptr<ToolkitViewController> rootViewController);
  ~VicinixNavigationViewController() override;

  void setViewControllers(std::vector<std::shared_ptr<ToolkitViewController>> viewControllers);
  const std::vector<std::shared_ptr<ToolkitViewController>>& viewControllers() const {
    return viewControllers_;
  }
  ToolkitViewController* topViewController() const;
  // Virtual so that a host may show a pushed screen elsewhere (a desktop
  // window opens it in a sheet of its own).
  virtual void pushViewController(std::shared_ptr<ToolkitViewController> viewController,
                                  bool animated);
  // Takes the top screen off the stack; the root screen stays.
  std::shared_ptr<ToolkitViewController> popViewController(bool animated);

  // Gives every screen on the stack now a "Close" button that closes the
  // container; screens pushed later get none.
  void addDismissButton();
  // Takes the container off the screen it is presented on.
  void close();

  bool isNavigationBarTranslucent() const { return navigationBarTranslucent_; }
  void setNavigationBarTranslucent(bool translucent) { navigationBarTranslucent_ = translucent; }
  double navigationBarHeight() const { return kNavigationBarHeight; }

  // The bar's view, drawn once the container's view is loaded; null before.
  const std::shared_ptr<View>& navigationBar() const { return bar_; }
  // The colour of the bar's title and buttons, set by viewDidLoad from the
  // status bar style: black over a dark style, white otherwise.
  const Color& tintColor() const { return tintColor_; }

  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;

  // "VicinixNavigationViewController > " and the top screen's description.
  std::string description() const override;

 private:
  void adopt(ToolkitViewController& child);
  void release(ToolkitViewController& child);
  // Puts the top screen's view under the bar and redraws the bar for it.
  void showTopViewController();
  void layoutNavigationBar();
  std::function<void()> weakAction(void (*action)(VicinixNavigationViewController&));

  std::vector<std::shared_ptr<ToolkitViewController>> viewControllers_;
  bool navigationBarTranslucent_ = false;
  bool appeared_ = false;
  Color tintColor_{1, 1, 1, 1};
  std::shared_ptr<View> shownView_;
  std::shared_ptr<View> bar_;
  std::shared_ptr<Label> titleLabel_;
  std::shared_ptr<Button> backButton_;
  std::shared_ptr<Button> rightButton_;
};

}  // namespace vicinix
