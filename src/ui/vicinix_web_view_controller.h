#pragma once

#include <vicinix/export.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "ui/vicinix_detail_view_controller.h"
#include "ui/vicinix_info_view.h"

namespace vicinix {

// The web page of a "WEB_PAGE" campaign: the campaign's hosted page in a
// browser view that fills the screen. Every navigation the page makes is
// allowed and load errors are not reported: the page is the campaign
// owner's, and a page that fails simply stays blank.
class VICINIX_EXPORT VicinixWebViewController : public VicinixDetailViewController {
 public:
  // A page that has not answered in this time is given up.
  static constexpr std::chrono::seconds kLoadTimeout{60};

  VicinixWebViewController();

  void viewDidLoad() override;

  // The campaign's page for this device and application: the detail path as
  // the backend gave it (it carries its own query), then our parameters.
  // Nothing is escaped: the backend builds its paths for exactly this.
  static std::string detailAddress(const Campaign& campaign);

  // Null in a headless host.
  std::shared_ptr<WebView> webView;
  // The notice shown instead of the page when there is no campaign.
  std::optional<VicinixInfoView> infoScreen;

 protected:
  std::string className() const override { return "VicinixWebViewController"; }
};

}  // namespace vicinix
