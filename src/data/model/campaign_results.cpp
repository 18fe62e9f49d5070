#include "data/model/campaign_results.h"

#include "data/model/campaign_factory.h"

namespace vicinix {

CampaignResults::CampaignResults(CampaignFactory& store, std::vector<std::string> ids)
    : store_(&store), ids_(std::move(ids)) {}

std::optional<Campaign> CampaignResults::at(size_t index) {
  if (index >= ids_.size()) return std::nullopt;
  if (const Campaign* cached = rows_.find(index)) return *cached;
  auto campaign = store_->find(ids_[index]);
  // A missing row is asked for again: the store may only have been busy.
  if (campaign) rows_.put(index, *campaign, 1);
  return campaign;
}

}  // namespace vicinix
