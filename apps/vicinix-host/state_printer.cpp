#include "state_printer.h"

#include "core/date_format.h"
#include "core/sdk.h"
#include "core/vicinix.h"
#include "core/vicinix_configurator.h"
#include "data/model/database.h"
#include "data/model/event_table.h"
#include "data/model/realm_configurator.h"

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

nlohmann::ordered_json eventsJson() {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  auto database = Database::open(RealmConfigurator::vicinixConfiguration());
  if (!database) return list;
  for (const auto& event : EventTable(*database).all()) {
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

}  // namespace vicinix::host
