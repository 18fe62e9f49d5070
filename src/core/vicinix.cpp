#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>
#include <vicinix/vicinix_notification_client.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "base/sdk.h"
#include "beacons/beacon_manager.h"
#include "campaigns/campaign_manager.h"
#include "core/sdk_version.h"
#include "core/vicinix_configurator.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "events/event_manager.h"
#include "ui/vicinix_navigation_view_controller.h"
#include "ui/vicinix_page_view_controller.h"
#include "ui/vicinix_web_view_controller.h"

namespace vicinix {

// The facade's state, one per SDK context. Touched on the main queue only.
class Vicinix::Instance {
 public:
  explicit Instance(Sdk&) {}
  std::vector<BackgroundFetchTask> backgroundFetchTasks;
};

namespace {

constexpr double kMinimumBackgroundFetchInterval = 3600;

// Without a context every call would end in an abort deep inside the SDK; a
// host that skipped the bootstrap is told what to do instead.
bool contextInstalled() {
  if (Sdk::isInstalled()) return true;
  std::fputs(
      "Vicinix: no SDK context is installed; create a vicinix::LinuxHost "
      "(<vicinix/linux_host.h>) before calling Vicinix\n",
      stderr);
  return false;
}

void postCampaignsUpdatedLater() {
  Sdk::current().mainQueue().async(
      [] { NotificationCenter::defaultCenter().post(Vicinix::campaignsUpdated); });
}

}  // namespace

std::string_view toString(Vicinix::BackgroundFetchTask task) {
  switch (task) {
    case Vicinix::BackgroundFetchTask::configure:
      return "configure";
    case Vicinix::BackgroundFetchTask::campaignUpdate:
      return "campaignUpdate";
    case Vicinix::BackgroundFetchTask::logEvents:
      return "logEvents";
  }
  return "";
}

void Vicinix::start(const std::string& applicationKey) {
  if (!contextInstalled()) return;
  Sdk& sdk = Sdk::current();
  VicinixConfigurator::checkForInternetConnection();
  VicinixConfigurator::save(applicationKey);
  VicinixConfigurator::configure([] {});
  VicinixNotificationClient::shared().requestNotificationAuthorization();
  VicinixNotificationClient::shared().checkNotificationSettings();
  EventManager::logAllEvents(nullptr);
  firstStartSetup();
  sdk.application().setMinimumBackgroundFetchInterval(kMinimumBackgroundFetchInterval);
  if (VicinixConfigurator::sdkEnabled()) {
    BeaconManager& manager = BeaconManager::shared();
    manager.startRangingIBeacons();
    manager.beaconScanner().startScanning();
  }
}

std::string Vicinix::applicationKey() {
  if (!contextInstalled()) return {};
  return VicinixConfigurator::applicationKey();
}

void Vicinix::firstStartSetup() {
  DefaultsStore& defaults = Sdk::current().defaults();
  if (defaults.boolean(firstStartDefaultsKey)) return;
  EventFactory::shared().create(EventType::newInstallation);
  defaults.setInteger(lastSDKVersionDefaultsKey, kSdkVersion);
  defaults.setBool(firstStartDefaultsKey, true);
  defaults.synchronize();
}

void Vicinix::applicationDidBecomeActive() {
  if (!contextInstalled()) return;
  EventFactory::shared().create(EventType::appStarted);
  CampaignManager::updateAllCampaigns(postCampaignsUpdatedLater);
}

void Vicinix::applicationDidEnterBackground() {
  if (!contextInstalled()) return;
  EventFactory::shared().create(EventType::appClosed);
  EventManager::logAllEvents(nullptr);
}

void Vicinix::logEvents(std::function<void()> completion) {
  if (!contextInstalled()) return;
  EventManager::logAllEvents(std::move(completion));
}

void Vicinix::performBackgroundFetch(std::function<void()> completion) {
  if (!contextInstalled()) {
    // Nothing to wait for: the host's fetch window closes at once.
    if (completion) completion();
    return;
  }
  Sdk& sdk = Sdk::current();
  sdk.debug("BG Fetch started...");
  if (!VicinixConfigurator::sdkEnabled()) {
    completion();
    return;
  }
  auto& tasks = sdk.shared<Instance>().backgroundFetchTasks;
  tasks.insert(tasks.end(), {BackgroundFetchTask::configure, BackgroundFetchTask::campaignUpdate,
                             BackgroundFetchTask::logEvents});
  VicinixConfigurator::configure(
      [completion] { resolveBackgroundFetch(BackgroundFetchTask::configure, completion); });
  CampaignManager::updateAllCampaigns([completion] {
    postCampaignsUpdatedLater();
    resolveBackgroundFetch(BackgroundFetchTask::campaignUpdate, completion);
  });
  EventManager::logAllEvents(
      [completion] { resolveBackgroundFetch(BackgroundFetchTask::logEvents, completion); });
}

void Vicinix::resolveBackgroundFetch(BackgroundFetchTask task,
                                     const std::function<void()>& completion) {
  Sdk& sdk = Sdk::current();
  auto& tasks = sdk.shared<Instance>().backgroundFetchTasks;
  if (auto found = std::find(tasks.begin(), tasks.end(), task); found != tasks.end()) {
    tasks.erase(found);
  }
  if (sdk.debugging()) {
    std::string list = "[";
    for (size_t i = 0; i < tasks.size(); ++i) {
      if (i > 0) list += ", ";
      list += toString(tasks[i]);
    }
    sdk.debug("Remaining tasks: " + list + "]");
  }
  if (!tasks.empty()) return;
  sdk.debug("BG Fetch completed...");
  if (completion) completion();
}

std::shared_ptr<VicinixDetailViewController> Vicinix::makeCampaignDetailViewController(
    const Campaign& campaign) {
  if (!contextInstalled()) return nullptr;
  if (campaign.type == "PAGE") return std::make_shared<VicinixPageViewController>();
  if (campaign.type == "WEB_PAGE") return std::make_shared<VicinixWebViewController>();
  Sdk& sdk = Sdk::current();
  if (sdk.debugging()) {
    sdk.debug("ERROR: Opening unsupported campaign type\n\n" + campaign.description());
  }
  return nullptr;
}

void Vicinix::openCampaignDetailInModal(const std::string& campaignID) {
  if (!contextInstalled()) return;
  Sdk& sdk = Sdk::current();
  auto campaign = CampaignFactory::shared().find(campaignID);
  if (!campaign) {
    sdk.debug("ERROR: there is no campaign with id " + campaignID);
    return;
  }
  auto detail = makeCampaignDetailViewController(*campaign);
  if (!detail) return;
  detail->campaign = *campaign;
  auto navigation = std::make_shared<VicinixNavigationViewController>();
  navigation->setViewControllers({detail});
  navigation->addDismissButton();
  if (auto top = sdk.application().keyWindowRootViewController()) {
    while (auto presented = top->presentedViewController()) top = presented;
    top->present(navigation, true);
  }
  EventFactory::shared().create(EventType::campaignDetailFromNotification, campaign->id);
}

void Vicinix::setDebugging(bool debugging) {
  if (!contextInstalled()) return;
  Sdk::current().setDebugging(debugging);
}

bool Vicinix::isDebugging() {
  if (!contextInstalled()) return false;
  return Sdk::current().debugging();
}

void Vicinix::debug(std::string_view line) {
  if (!contextInstalled()) return;
  Sdk::current().debug(line);
}

std::filesystem::path Vicinix::documentsDirectoryURL() {
  if (!contextInstalled()) return {};
  return Sdk::current().directories().documents;
}

std::filesystem::path Vicinix::vicinixDirectoryURL() {
  if (!contextInstalled()) return {};
  return Sdk::current().directories().library / "Vicinix";
}

}  // namespace vicinix
