#include "state_printer.h"

#include <vicinix/vicinix.h>

#include <algorithm>

#include "base/date_format.h"
#include "base/sdk.h"
#include "core/vicinix_configurator.h"
#include "data/model/attribute_table.h"
#include "data/model/beacon_table.h"
#include "data/model/block_table.h"
#include "data/model/campaign_table.h"
#include "data/model/event_table.h"

namespace vicinix::host {
namespace {

using Type = VicinixConfigurator::ValueType;

nlohmann::ordered_json optionalText(const std::optional<std::string>& text) {
  return text ? nlohmann::ordered_json(*text) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json typedValue(const std::string& key, Type type) {
  DefaultsStore& defaults = Sdk::current().defaults();
  switch (type) {
    case Type::string:
      return optionalText(defaults.string(key));
    case Type::integer:
      return defaults.integer(key);
    case Type::boolean:
      return defaults.boolean(key);
    case Type::date: {
      auto date = defaults.date(key);
      return date ? nlohmann::ordered_json(formatIso8601(*date)) : nlohmann::ordered_json(nullptr);
    }
    case Type::stringArray:
      return defaults.stringArray(key);
    case Type::none:
      break;
  }
  return nullptr;
}

nlohmann::ordered_json optionalDate(const std::optional<Date>& date) {
  return date ? nlohmann::ordered_json(formatIso8601(*date)) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json blocksJson(Database& database, const std::string& campaignId) {
  auto blocks = BlockTable(database).blocksOf(campaignId);
  std::stable_sort(blocks.begin(), blocks.end(),
                   [](const Block& a, const Block& b) { return a.sortIndex < b.sortIndex; });
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Block& block : blocks) {
    nlohmann::ordered_json attributes = nlohmann::ordered_json::array();
    for (const Attribute& attribute : AttributeTable(database).attributesOf(block.id)) {
      attributes.push_back({{"id", attribute.id},
                            {"key", attribute.key},
                            {"value", attribute.value},
                            {"sortIndex", attribute.sortIndex}});
    }
    list.push_back({{"id", block.id},
                    {"type", block.type},
                    {"sortIndex", block.sortIndex},
                    {"attributes", std::move(attributes)}});
  }
  return list;
}

}  // namespace

nlohmann::ordered_json settingsJson() {
  nlohmann::ordered_json settings = nlohmann::ordered_json::object();
  for (const auto& info : VicinixConfigurator::keys()) {
    if (info.type == Type::none) continue;
    std::string key(info.string);
    settings[key] = typedValue(key, info.type);
  }
  settings[Vicinix::firstStartDefaultsKey] =
      typedValue(Vicinix::firstStartDefaultsKey, Type::boolean);
  settings[Vicinix::lastSDKVersionDefaultsKey] =
      typedValue(Vicinix::lastSDKVersionDefaultsKey, Type::integer);
  return settings;
}

nlohmann::ordered_json eventsJson(Database& database) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& event : EventTable(database).all()) {
    list.push_back({
        {"id", event.id},
        {"type", event.type},
        {"created", formatIso8601(event.created)},
        {"timestamp", event.timestamp},
        {"campaignId", optionalText(event.campaignId)},
        {"beaconNamespace", optionalText(event.beaconNamespace)},
        {"beaconInstance", optionalText(event.beaconInstance)},
        {"hasBluetoothTurnedOn", event.hasBluetoothTurnedOn},
        {"hasInternetConnection", event.hasInternetConnection},
        {"hasLocationPermission", event.hasLocationPermission},
        {"hasNotificationPermission", event.hasNotificationPermission},
    });
  }
  return list;
}

nlohmann::ordered_json campaignsJson(Database& database) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Campaign& campaign : CampaignTable(database).all()) {
    list.push_back({
        {"id", campaign.id},
        {"type", campaign.type},
        {"isActive", campaign.isActive},
        {"notificationTitle", campaign.notificationTitle},
        {"notificationText", campaign.notificationText},
        {"notificationImagePath", campaign.notificationImagePath},
        {"detailURLPath", campaign.detailURLPath},
        {"listImagePath", campaign.listImagePath},
        {"listTitle", campaign.listTitle},
        {"listText", campaign.listText},
        {"inAppEvent", campaign.inAppEvent},
        {"cooldown", campaign.cooldown},
        {"maximumNotificationsPerUser", campaign.maximumNotificationsPerUser},
        {"created", formatIso8601(campaign.created)},
        {"updated", optionalDate(campaign.updated)},
        {"notificationSent", optionalDate(campaign.notificationSent)},
        {"notificationCount", campaign.notificationCount},
        {"blocks", blocksJson(database, campaign.id)},
    });
  }
  return list;
}

nlohmann::ordered_json beaconsJson(Database& database) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Beacon& beacon : BeaconTable(database).all()) {
    list.push_back({{"id", beacon.id},
                    {"namespace", beacon.namespace_},
                    {"instance", beacon.instance},
                    {"created", formatIso8601(beacon.created)},
                    {"updated", optionalDate(beacon.updated)}});
  }
  return list;
}

std::string printable(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace vicinix::host
