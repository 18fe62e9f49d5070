#pragma once

#include "ui/vicinix_detail_view_controller.h"

namespace vicinix {

// The web page of a "WEB_PAGE" campaign.
class VicinixWebViewController : public VicinixDetailViewController {
 protected:
  std::string className() const override { return "VicinixWebViewController"; }
};

}  // namespace vicinix
