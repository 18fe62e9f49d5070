#pragma once

#include <optional>
#include <string>
#include <vector>

#include "data/model/campaign.h"
#include "data/model/database.h"

namespace vicinix {

// Reads and writes Campaign rows. Writes throw SQLite::Exception; call them
// inside Database::write().
class CampaignTable {
 public:
  explicit CampaignTable(Database& database) : database_(database) {}

  // Inserts, or overwrites every field of the row with the same id.
  void addOrUpdate(const Campaign& campaign);
  std::optional<Campaign> find(const std::string& id);
  std::vector<Campaign> all();
  std::vector<Campaign> allWithTypeOtherThan(const std::string& type);
  // The ids of the campaigns the list shows: list title, text and picture all
  // set, in-app events left out, newest `created` first.
  std::vector<std::string> listedIds();
  void remove(const std::string& id);
  int64_t count();

 private:
  Database& database_;
};

}  // namespace vicinix
