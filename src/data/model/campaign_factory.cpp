#include "data/model/campaign_factory.h"

#include "campaigns/image_downloader.h"
#include "core/notification_center.h"
#include "core/sdk.h"
#include "core/vicinix.h"
#include "data/model/attribute_table.h"
#include "data/model/block_factory.h"
#include "data/model/block_table.h"
#include "data/model/campaign_table.h"
#include "data/model/json_reads.h"
#include "data/model/realm_configurator.h"

namespace vicinix {

CampaignFactory::CampaignFactory(Sdk& sdk)
    : sdk_(sdk), realm_(Database::open(RealmConfigurator::vicinixConfiguration())) {}

CampaignFactory& CampaignFactory::shared() {
  return Sdk::current().shared<CampaignFactory>();
}

std::optional<Campaign> CampaignFactory::find(const std::string& id, bool create) {
  if (!realm_) return std::nullopt;
  try {
    if (auto found = CampaignTable(*realm_).find(id)) return found;
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
    return std::nullopt;
  }
  if (!create) return std::nullopt;
  Campaign campaign{.id = id, .created = sdk_.clock().now()};
  if (auto error = realm_->write([&] { CampaignTable(*realm_).addOrUpdate(campaign); })) {
    sdk_.debug(*error);
    return std::nullopt;
  }
  return campaign;
}

std::optional<Campaign> CampaignFactory::parse(const JsonValue& json) {
  if (json.isNull() || !json["id"].isString() || !realm_) return std::nullopt;
  const std::string& id = json["id"].raw().get_ref<const std::string&>();
  bool isActive = json["isActive"].boolean();
  std::optional<Campaign> campaign;
  // Lookup, creation and import share one transaction: a commit each cost
  // more than the import itself.
  auto error = realm_->write([&] {
    CampaignTable table(*realm_);
    campaign = table.find(id);
    if (!campaign) campaign = Campaign{.id = id, .created = sdk_.clock().now()};
    campaign->type = readText(json["type"]);
    if (!isActive) {
      table.remove(id);
      return;
    }
    campaign->isActive = true;
    campaign->maximumNotificationsPerUser = readInteger(json["maximumNotificationsPerUser"]);
    campaign->cooldown = readInteger(json["cooldown"]);
    if (campaign->type != customEndpointType) importContent(*campaign, json);
    table.addOrUpdate(*campaign);
    if (sdk_.debugging()) {
      sdk_.debug("Campaign \"" + campaign->notificationTitle + "\", " + campaign->type + ", (" +
                 campaign->id + ") updated.");
    }
  });
  // A failed write still hands back what was read, as the caller asked for it.
  if (error) sdk_.debug(*error);
  if (!isActive) return std::nullopt;
  return campaign;
}

// Inside parse()'s write: everything a CUSTOM_ENDPOINT campaign keeps as it was.
void CampaignFactory::importContent(Campaign& campaign, const JsonValue& json) {
  campaign.listTitle = readText(json["listTitle"]);
  campaign.listText = readText(json["listText"]);
  campaign.detailURLPath = readText(json["detailUrl"]);
  campaign.notificationTitle = readText(json["notificationTitle"]);
  campaign.notificationText = readText(json["notificationText"]);
  campaign.notificationImagePath = readText(json["notificationImage"]);
  campaign.inAppEvent = readText(json["inAppEvent"]);
  campaign.updated = sdk_.clock().now();

  std::string listImage = readText(json["listImage"]);
  if (listImage != campaign.listImagePath) {
    // Named after the old path on purpose: the file keeps its name when the
    // backend moves the picture.
    ImageDownloader::shared().downloadImage(listImage, campaign.listImageName(), [](auto) {
      NotificationCenter::defaultCenter().post(Vicinix::imageDownloaded);
    });
  }
  campaign.listImagePath = listImage;

  BlockTable blocks(*realm_);
  AttributeTable attributes(*realm_);
  for (const Block& block : blocks.blocksOf(campaign.id)) {
    for (const Attribute& attribute : attributes.attributesOf(block.id)) {
      attributes.remove(attribute.id);
    }
  }
  for (const Block& block : blocks.blocksOf(campaign.id)) blocks.remove(block.id);

  sdk_.mainQueue().async([blocks = json["blocks"].array(), id = campaign.id] {
    BlockFactory::shared().importBlocks(blocks, id);
  });
}

template <class Change>
void CampaignFactory::writeLater(const std::string& campaignId, Change change) {
  // Through the context rather than `this`: the queue may outlive this store.
  sdk_.mainQueue().async([campaignId, change] {
    CampaignFactory& store = CampaignFactory::shared();
    if (!store.realm_) return;
    auto error = store.realm_->write([&] {
      CampaignTable table(*store.realm_);
      auto stored = table.find(campaignId);
      if (!stored) return;
      change(store.sdk_, *stored);
      table.addOrUpdate(*stored);
    });
    if (error) store.sdk_.debug(*error);
  });
}

void CampaignFactory::save(const Campaign& campaign) {
  sdk_.mainQueue().async([campaign] {
    CampaignFactory& store = CampaignFactory::shared();
    if (!store.realm_) return;
    auto error = store.realm_->write([&] { CampaignTable(*store.realm_).addOrUpdate(campaign); });
    if (error) store.sdk_.debug(*error);
  });
}

void CampaignFactory::setUpdate(const Campaign& campaign) {
  writeLater(campaign.id, [](Sdk& sdk, Campaign& stored) { stored.updated = sdk.clock().now(); });
}

void CampaignFactory::setNotified(const Campaign& campaign) {
  writeLater(campaign.id, [](Sdk& sdk, Campaign& stored) {
    stored.notificationSent = sdk.clock().now();
    stored.notificationCount += 1;
  });
}

void CampaignFactory::deleteCampaign(const std::string& campaignId) {
  sdk_.mainQueue().async([campaignId] {
    CampaignFactory& store = CampaignFactory::shared();
    if (!store.realm_) return;
    auto error = store.realm_->write([&] { CampaignTable(*store.realm_).remove(campaignId); });
    if (error) store.sdk_.debug(*error);
  });
}

std::optional<std::vector<Campaign>> CampaignFactory::allCampaigns() {
  if (!realm_) return std::nullopt;
  try {
    return CampaignTable(*realm_).all();
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
    return std::vector<Campaign>{};
  }
}

std::vector<Block> CampaignFactory::blocks(const Campaign& campaign) {
  if (!realm_) return {};
  try {
    return BlockTable(*realm_).blocksOf(campaign.id);
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
    return {};
  }
}

}  // namespace vicinix
