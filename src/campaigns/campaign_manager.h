#pragma once

#include <functional>
#include <vector>

#include "base/json_value.h"
#include "data/model/beacon.h"

namespace vicinix {

// Keeps the stored campaigns fresh, and turns the campaigns received for a
// beacon into staggered notifications. All state lives in the store.
class CampaignManager {
 public:
  // Re-fetches every campaign whose content has expired and deletes those the
  // backend no longer returns. `completion` runs on the main queue after the
  // reply; at once when the SDK is disabled; never without a database.
  static void updateAllCampaigns(std::function<void()> completion);

  // Imports `campaigns` (a pull reply's array) and schedules a notification
  // for each that may notify, 50 ms apart in reply order; then stamps
  // `beacon` and posts Vicinix::campaignRecieved. Main queue.
  static void notifyCampaigns(const std::vector<JsonValue>& campaigns, const Beacon& beacon);
};

}  // namespace vicinix
