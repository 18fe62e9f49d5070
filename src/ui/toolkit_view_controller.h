#pragma once

#include <vicinix/export.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/view_controller.h"
#include "ui/toolkit.h"

namespace vicinix {

class VicinixNavigationViewController;

// A button of a navigation bar; `done` draws its title semibold.
struct VICINIX_EXPORT BarButtonItem {
  enum class Style { plain, done };

  std::string title;
  Style style = Style::plain;
  std::function<void()> action;
};

// What a screen shows in the bar of the navigation container it is on.
struct VICINIX_EXPORT NavigationItem {
  std::string title;
  std::optional<BarButtonItem> rightBarButtonItem;
};

// A screen drawn with the toolkit. Its root view is made on first use, as
// large as the main screen, and viewDidLoad() then fills it; a host that
// presents the screen calls viewWillAppear() before showing it. Without a
// toolkit (a headless host) the screen has no view and is only described.
// Main queue only.
class VICINIX_EXPORT ToolkitViewController : public ViewController {
 public:
  // The root view, loaded on first use; null without a toolkit.
  const std::shared_ptr<View>& view();
  bool isViewLoaded() const { return view_ != nullptr; }

  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }

  NavigationItem navigationItem;
  // The container whose stack holds this screen; null when there is none.
  VicinixNavigationViewController* navigationController() const { return navigationController_; }

  // Where the screen's content starts below the top of its root view: 0 under
  // an opaque navigation bar, which already starts the content below itself;
  // otherwise the heights of a translucent bar and of the status bar, which
  // cover the top of the view.
  double topDistance() const;

 protected:
  // The installed context's toolkit; null in a headless host.
  static Toolkit* toolkit();

 private:
  friend class VicinixNavigationViewController;

  std::shared_ptr<View> view_;
  VicinixNavigationViewController* navigationController_ = nullptr;
};

}  // namespace vicinix
