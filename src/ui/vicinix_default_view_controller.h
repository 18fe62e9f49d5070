#pragma once

#include <vicinix/export.h>

#include "ui/toolkit_view_controller.h"

namespace vicinix {

// The base of every SDK screen: the theme's background and, while the
// backend has disabled this SDK version, a notice asking the user to update
// the application.
class VICINIX_EXPORT VicinixDefaultViewController : public ToolkitViewController {
 public:
  void viewDidLoad() override;
};

}  // namespace vicinix
