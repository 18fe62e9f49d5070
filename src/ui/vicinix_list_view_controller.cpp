#include "ui/vicinix_list_view_controller.h"

#include <vicinix/vicinix.h>
#include <vicinix/vicinix_appearance.h>

#include "base/sdk.h"
#include "core/vicinix_configurator.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "ui/vicinix_detail_view_controller.h"
#include "ui/vicinix_list_table_view_cell.h"
#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {

VicinixListViewController::VicinixListViewController()
    : self_(std::make_shared<VicinixListViewController*>(this)) {}

VicinixListViewController::~VicinixListViewController() {
  self_.reset();
  if (tableView) tableView->setDataSource(nullptr);
  if (!Sdk::isInstalled()) return;
  for (auto token : observers_) NotificationCenter::defaultCenter().removeObserver(token);
}

void VicinixListViewController::viewDidLoad() {
  Toolkit& kit = *toolkit();
  infoScreen.emplace(kit, topDistance(), kit.resourceImage("noCampaignsIcon"), "Žádné kampaně");
  view()->setBackgroundColor(VicinixAppearance::backgroundColor());

  tableView = kit.makeTableView();
  if (tableView) {
    tableView->setFrame(view()->bounds());
    tableView->setResizesWithSuperview(true, true);
    tableView->setSeparatorInsets(0, 0);
    tableView->setDataSource(this);
    view()->addSubview(tableView);
  }
  Sdk& sdk = Sdk::current();
  navigationItem.title = sdk.application().localizedString("Kampaně");

  // Posted from any thread; the table is only touched on the main queue.
  auto reload = [queue = sdk.mainQueuePtr(),
                 weakSelf = std::weak_ptr(self_)](const NotificationCenter::Notification&) {
    queue->async([weakSelf] {
      if (auto self = weakSelf.lock()) (*self)->reloadTableView();
    });
  };
  NotificationCenter& center = NotificationCenter::defaultCenter();
  for (const char* name :
       {Vicinix::campaignRecieved, Vicinix::imageDownloaded, Vicinix::campaignsUpdated}) {
    observers_.push_back(center.addObserver(name, reload));
  }
}

void VicinixListViewController::viewWillAppear(bool animated) {
  ToolkitViewController::viewWillAppear(animated);
  view();  // a host may show the screen before anything asked for its view
  reloadTableView();
  Sdk::current().application().setApplicationIconBadgeNumber(0);
}

void VicinixListViewController::reloadTableView() {
  campaigns = CampaignFactory::shared().listCampaigns();
  if (tableView) tableView->reloadData();
}

void VicinixListViewController::toggleInfoScreen() {
  if (!infoScreen || !tableView) return;
  if (!campaigns || campaigns->empty()) {
    if (!infoScreen->view()->superview()) view()->addSubview(infoScreen->view());
    tableView->setSeparatorStyle(SeparatorStyle::none);
  } else {
    infoScreen->view()->removeFromSuperview();
    tableView->setSeparatorStyle(SeparatorStyle::singleLine);
  }
}

int VicinixListViewController::numberOfRows() {
  if (VicinixConfigurator::requiredSDKVersion() >= 1) {
    // Made once and kept: the count is asked on every reload.
    if (!updateScreen) {
      Toolkit& kit = *toolkit();
      updateScreen.emplace(kit, topDistance(), kit.resourceImage("updateState"),
                           "Aktualizujte prosím aplikaci pro obnovu všech funkcí.");
      view()->addSubview(updateScreen->view());
    }
    // Two notices over each other would be unreadable.
    if (infoScreen) infoScreen->view()->removeFromSuperview();
    tableView->setSeparatorStyle(SeparatorStyle::none);
    return 0;
  }
  toggleInfoScreen();
  return campaigns ? static_cast<int>(campaigns->count()) : 0;
}

double VicinixListViewController::heightForRow(int) {
  return VicinixListTableViewCell::rowHeight;
}

TableCell VicinixListViewController::cellForRow(int row, double width) {
  VicinixListTableViewCell cell(*toolkit(), width);
  auto campaign = campaigns ? campaigns->at(static_cast<size_t>(row)) : std::nullopt;
  // A row deleted since the list was read stays empty until the next reload.
  if (!campaign) return cell.layout(Campaign{}, std::nullopt);
  return cell.layout(*campaign, campaign->listImage());
}

void VicinixListViewController::didSelectRow(int row) {
  tableView->deselectRow(row, true);
  if (!campaigns) return;
  if (auto campaign = campaigns->at(static_cast<size_t>(row))) open(*campaign);
}

void VicinixListViewController::open(const Campaign& campaign) {
  auto detail = Vicinix::makeCampaignDetailViewController(campaign);
  if (!detail) return;
  detail->campaign = campaign;
  if (auto* navigation = navigationController()) navigation->pushViewController(detail, true);
  EventFactory::shared().create(EventType::campaignDetailFromList, campaign.id);
}

}  // namespace vicinix
