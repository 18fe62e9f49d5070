#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "data/model/campaign.h"
#include "ui/toolkit.h"
#include "ui/vicinix_default_view_controller.h"
#include "ui/vicinix_info_view.h"

namespace vicinix {

// The campaigns a host may list for its user, newest first, one 80-point
// row each with title, subtitle and picture. A row opens the campaign's
// detail on this screen's navigation container. The rows are read again on
// appearance and whenever campaigns or pictures arrive. Main queue only.
class VicinixListViewController : public VicinixDefaultViewController,
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
  // The rows as last read; nothing before the first read.
  std::optional<std::vector<Campaign>> campaigns;
  // The notice for an empty list.
  std::optional<VicinixInfoView> infoScreen;

  std::string description() const override { return "VicinixListViewController"; }

 private:
  int numberOfRows() override;
  double heightForRow(int row) override;
  TableCell cellForRow(int row, double width) override;
  void didSelectRow(int row) override;
};

}  // namespace vicinix
