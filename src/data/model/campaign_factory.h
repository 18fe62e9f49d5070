#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/json_value.h"
#include "data/model/block.h"
#include "data/model/campaign.h"
#include "data/model/campaign_results.h"
#include "data/model/database_handle.h"

namespace vicinix {

class Sdk;

// Turns the backend's campaign objects into stored Campaigns with their
// blocks, keeps the per-campaign notification counters, and deletes campaigns.
class CampaignFactory {
 public:
  static constexpr const char* customEndpointType = "CUSTOM_ENDPOINT";

  explicit CampaignFactory(Sdk& sdk);
  static CampaignFactory& shared();

  // The stored campaign with `id`; with `create`, a new one stored first.
  std::optional<Campaign> find(const std::string& id, bool create = false);
  // Imports one campaign object (null: nothing). Returns the campaign when it
  // is active; an inactive one is deleted, its blocks left in place. The
  // blocks are imported later on the main queue.
  std::optional<Campaign> parse(const JsonValue& json);
  // These write later, on the main queue.
  void save(const Campaign& campaign);
  void setUpdate(const Campaign& campaign);
  void setNotified(const Campaign& campaign);
  void deleteCampaign(const std::string& campaignId);

  // Every campaign in store order; nothing without a database.
  std::optional<std::vector<Campaign>> allCampaigns();
  // The campaigns the list shows (CampaignTable::listedIds), read row by row
  // as the list asks; nothing without a database.
  std::optional<CampaignResults> listCampaigns();
  // The campaign's blocks in store order.
  std::vector<Block> blocks(const Campaign& campaign);

  // The store's open database; null while it cannot be opened.
  Database* realm() { return realm_.get(); }

 private:
  void importContent(Database& database, Campaign& campaign, const JsonValue& json);
  template <class Change>
  void writeLater(const std::string& campaignId, Change change);

  Sdk& sdk_;
  DatabaseHandle realm_;
};

}  // namespace vicinix
