#pragma once

#include "ui/vicinix_detail_view_controller.h"

namespace vicinix {

// The native page of a "PAGE" campaign: its blocks, top to bottom.
class VicinixPageViewController : public VicinixDetailViewController {
 protected:
  std::string className() const override { return "VicinixPageViewController"; }
};

}  // namespace vicinix
