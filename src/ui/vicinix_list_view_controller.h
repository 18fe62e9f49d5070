#pragma once

#include <vicinix/export.h>

#include <memory>
#include <optional>
#include <string>

#include "base/notification_center.h"
#include "data/model/campaign.h"
#include "data/model/campaign_results.h"
#include "ui/toolkit.h"
#include "ui/toolkit_view_controller.h"
#include "ui/vicinix_info_view.h"

namespace vicinix {

// The campaigns a host may list for its user, newest first, one 80-point
// row each with title, subtitle and picture. A row opens the campaign's
// detail on this screen's navigation container. The rows are read again on
// appearance and whenever campaigns or pictures arrive. Main queue only.
//
// Not a VicinixDefaultViewController: the list shows its own update notice
// in place of the rows, and the default one would be drawn under it.
class VICINIX_EXPORT VicinixListViewController : public ToolkitViewController,
                                                 private TableViewDataSource {
 public:
  static constexpr const char* VicinixListCellIdetifier = "VicinixListCell";

  VicinixListViewController();
  ~VicinixListViewController() override;

  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;

  void reloadTableView();
  void toggleInfoScreen();
  void open(const Campaign& campaign);

  // Null in a headless host.
  std::shared_ptr<TableView> tableView;
  // The rows as last read; nothing before the first read or without a database.
  std::optional<CampaignResults> campaigns;
  // The notice for an empty list.
  std::optional<VicinixInfoView> infoScreen;
  // The notice asking for an update, once the backend has disabled this SDK.
  std::optional<VicinixInfoView> updateScreen;

  std::string description() const override { return "VicinixListViewController"; }

 private:
  int numberOfRows() override;
  double heightForRow(int row) override;
  TableCell cellForRow(int row, double width) override;
  void didSelectRow(int row) override;

  // Set while this screen lives: the notifications' reloads, queued from any
  // thread, run only if it still does when their turn comes.
  std::shared_ptr<VicinixListViewController*> self_;
  std::vector<NotificationCenter::Token> observers_;
};

}  // namespace vicinix
