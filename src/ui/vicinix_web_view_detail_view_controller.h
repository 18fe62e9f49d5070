#pragma once

#include <memory>
#include <string>

#include "ui/vicinix_detail_view_controller.h"

namespace vicinix {

// A detail screen holding a browser view for hosts that load a campaign's
// page themselves; the screen only shows its background (and the update
// notice), the view is theirs to place and load.
class VicinixWebViewDetailViewController : public VicinixDetailViewController {
 public:
  VicinixWebViewDetailViewController() {
    if (Toolkit* kit = toolkit()) webView = kit->makeWebView();
  }

  // Null in a headless host.
  std::shared_ptr<WebView> webView;

 protected:
  std::string className() const override { return "VicinixWebViewDetailViewController"; }
};

}  // namespace vicinix
