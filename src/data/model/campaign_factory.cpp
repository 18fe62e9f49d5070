#include "data/model/campaign_factory.h"

#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

#include "base/sdk.h"
#include "campaigns/image_downloader.h"
#include "data/model/attribute_table.h"
#include "data/model/block_factory.h"
#include "data/model/block_table.h"
#include "data/model/campaign_table.h"
#include "data/model/json_reads.h"

namespace vicinix {

CampaignFactory::CampaignFactory(Sdk& sdk) : sdk_(sdk), realm_(sdk) {}

CampaignFactory& CampaignFactory::shared() {
  return Sdk::current().shared<CampaignFactory>();
}

std::optional<Campaign> CampaignFactory::find(const std::string& id, bool create) {
  auto found = realm_.read([&](Database& database) { return CampaignTable(database).find(id); });
  if (!found) return std::nullopt;  // no database, or it could not be read
  if (*found || !create) return *found;
  Campaign campaign{.id = id, .created = sdk_.clock().now()};
  if (realm_.write([&](Database& database) { CampaignTable(database).addOrUpdate(campaign); })) {
    return std::nullopt;
  }
  return campaign;
}

std::optional<Campaign> CampaignFactory::parse(const JsonValue& json) {
  if (json.isNull() || !json["id"].isString() || !realm_.get()) return std::nullopt;
  const std::string& id = json["id"].raw().get_ref<const std::string&>();
  bool isActive = json["isActive"].boolean();
  std::optional<Campaign> campaign;
  // Lookup, creation and import share one transaction: a commit each cost
  // more than the import itself.
  realm_.write([&](Database& database) {
    CampaignTable table(database);
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
    if (campaign->type != customEndpointType) importContent(database, *campaign, json);
    table.addOrUpdate(*campaign);
    if (sdk_.debugging()) {
      sdk_.debug("Campaign \"" + campaign->notificationTitle + "\", " + campaign->type + ", (" +
                 campaign->id + ") updated.");
    }
  });
  // A failed write still hands back what was read, as the caller asked for it.
  if (!isActive) return std::nullopt;
  return campaign;
}

// Inside parse()'s write: everything a CUSTOM_ENDPOINT campaign keeps as it was.
void CampaignFactory::importContent(Database& database, Campaign& campaign, const JsonValue& json) {
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

  BlockTable blocks(database);
  AttributeTable attributes(database);
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
    store.realm_.write([&](Database& database) {
      CampaignTable table(database);
      auto stored = table.find(campaignId);
      if (!stored) return;
      change(store.sdk_, *stored);
      table.addOrUpdate(*stored);
    });
  });
}

void CampaignFactory::save(const Campaign& campaign) {
  sdk_.mainQueue().async([campaign] {
    CampaignFactory::shared().realm_.write(
        [&](Database& database) { CampaignTable(database).addOrUpdate(campaign); });
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
    CampaignFactory::shared().realm_.write(
        [&](Database& database) { CampaignTable(database).remove(campaignId); });
  });
}

std::optional<std::vector<Campaign>> CampaignFactory::allCampaigns() {
  if (!realm_.get()) return std::nullopt;
  return realm_.read([](Database& database) { return CampaignTable(database).all(); })
      .value_or(std::vector<Campaign>{});
}

std::optional<CampaignResults> CampaignFactory::listCampaigns() {
  auto ids = realm_.read([](Database& database) { return CampaignTable(database).listedIds(); });
  if (!ids) return std::nullopt;
  return CampaignResults(*this, std::move(*ids));
}

std::vector<Block> CampaignFactory::blocks(const Campaign& campaign) {
  return realm_.read([&](Database& database) { return BlockTable(database).blocksOf(campaign.id); })
      .value_or(std::vector<Block>{});
}

}  // namespace vicinix
