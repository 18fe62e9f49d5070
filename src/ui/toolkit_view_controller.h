#pragma once

#include <memory>

#include "platform/view_controller.h"
#include "ui/toolkit.h"

namespace vicinix {

// A screen drawn with the toolkit. Its root view is made on first use, as
// large as the main screen, and viewDidLoad() then fills it; a host that
// presents the screen calls viewWillAppear() before showing it. Without a
// toolkit (a headless host) the screen has no view and is only described.
// Main queue only.
class ToolkitViewController : public ViewController {
 public:
  // The root view, loaded on first use; null without a toolkit.
  const std::shared_ptr<View>& view();
  bool isViewLoaded() const { return view_ != nullptr; }

  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }

 protected:
  // The installed context's toolkit; null in a headless host.
  static Toolkit* toolkit();

 private:
  std::shared_ptr<View> view_;
};

}  // namespace vicinix
