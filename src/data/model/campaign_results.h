#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/lru_cache.h"
#include "data/model/campaign.h"

namespace vicinix {

class CampaignFactory;

// The outcome of a campaign query as a list screen holds it: the ids in
// order, and each row read from the store when it is first asked for, so a
// long list costs its ids rather than every campaign in full. The rows read
// last are kept (rowCacheCapacity of them) so a repaint reads nothing again.
// A row deleted since the query reads as nothing. Main queue only.
class CampaignResults {
 public:
  static constexpr size_t rowCacheCapacity = 256;

  CampaignResults(CampaignFactory& store, std::vector<std::string> ids);

  size_t count() const { return ids_.size(); }
  bool empty() const { return ids_.empty(); }
  const std::vector<std::string>& ids() const { return ids_; }
  // The campaign at `index`; nothing past the end or when the row is gone.
  std::optional<Campaign> at(size_t index);

 private:
  CampaignFactory* store_;
  std::vector<std::string> ids_;
  LruCache<size_t, Campaign> rows_{rowCacheCapacity};
};

}  // namespace vicinix
