#include "ui/vicinix_web_view_controller.h"

#include "base/url.h"
#include "core/sdk_version.h"
#include "core/vicinix_configurator.h"

namespace vicinix {

VicinixWebViewController::VicinixWebViewController() {
  if (Toolkit* kit = toolkit()) webView = kit->makeWebView();
}

std::string VicinixWebViewController::detailAddress(const Campaign& campaign) {
  // The page tells devices apart by these; "IOS" is what the backend has
  // always been sent and keys its pages on, so it stays.
  return campaign.detailURLPath + "&deviceId=" + VicinixConfigurator::deviceID() +
         "&platform=IOS&sdkVersion=" + std::to_string(kSdkVersion) +
         "&applicationKey=" + VicinixConfigurator::applicationKey();
}

void VicinixWebViewController::viewDidLoad() {
  VicinixDetailViewController::viewDidLoad();
  Toolkit& kit = *toolkit();
  if (!campaign) {
    infoScreen.emplace(kit, topDistance(), kit.resourceImage("campaignError"),
                       "Kampaň se nepodařilo načíst.");
    view()->addSubview(infoScreen->view());
    return;
  }
  if (!webView) webView = kit.makeWebView();
  if (!webView) return;  // a toolkit without a browser shows the bare screen
  webView->setFrame(view()->bounds());
  webView->setResizesWithSuperview(true, true);
  webView->setBackgroundColor({0, 0, 0, 0});
  webView->setOpaque(false);
  view()->addSubview(webView);

  std::string address = detailAddress(*campaign);
  // An address that is not a URL leaves the page blank, without a word.
  if (Url::parse(address)) webView->load(address, kLoadTimeout);
}

}  // namespace vicinix
