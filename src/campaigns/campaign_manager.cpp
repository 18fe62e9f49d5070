#include "campaigns/campaign_manager.h"

#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>
#include <vicinix/vicinix_notification_client.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "base/sdk.h"
#include "core/vicinix_configurator.h"
#include "data/model/beacon_factory.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "network/graphql_client.h"

namespace vicinix {

void CampaignManager::updateAllCampaigns(std::function<void()> completion) {
  if (VicinixConfigurator::requiredSDKVersion() > 0) {
    completion();
    return;
  }
  CampaignFactory& factory = CampaignFactory::shared();
  auto stored = factory.allCampaigns();
  if (!stored) return;

  std::vector<Campaign> due;
  std::vector<std::string> pending;
  for (Campaign& campaign : *stored) {
    if (!campaign.needsUpdate()) continue;
    pending.push_back(campaign.id);
    due.push_back(std::move(campaign));
  }
  GraphQLClient().notifications(
      due, [pending = std::move(pending),
            completion = std::move(completion)](std::optional<JsonValue> reply) mutable {
        Sdk& sdk = Sdk::current();
        JsonValue campaigns = reply ? (*reply)["data"]["sdkFetchCampaigns"] : JsonValue();
        if (!campaigns.isArray()) {
          // The whole reply is printed: only build that text for someone reading it.
          if (sdk.debugging()) {
            sdk.debug("Update campaigns Error: " + (reply ? reply->raw().dump() : "unknown"));
          }
        } else {
          CampaignFactory& factory = CampaignFactory::shared();
          for (const JsonValue& json : campaigns.array()) {
            auto campaign = factory.parse(json);
            if (!campaign) continue;
            factory.setUpdate(*campaign);
            std::erase(pending, campaign->id);
          }
          for (const std::string& id : pending) factory.deleteCampaign(id);
        }
        completion();
      });
}

void CampaignManager::notifyCampaigns(const std::vector<JsonValue>& campaigns,
                                      const Beacon& beacon) {
  Sdk& sdk = Sdk::current();
  std::chrono::milliseconds delay{0};
  for (const JsonValue& json : campaigns) {
    auto campaign = CampaignFactory::shared().parse(json);
    if (!campaign || !campaign->shouldNotify()) continue;
    sdk.mainQueue().asyncAfter(delay, [campaign = *campaign, beacon] {
      VicinixNotificationClient::shared().scheduleNotification(campaign);
      CampaignFactory::shared().setNotified(campaign);
      EventFactory::shared().create(EventType::notification, campaign.id, &beacon);
    });
    delay += std::chrono::milliseconds(50);
  }
  BeaconFactory::shared().setUpdate(beacon);
  NotificationCenter::defaultCenter().post(Vicinix::campaignRecieved);
}

}  // namespace vicinix
