#include "core/vicinix_configurator.h"

#include <vicinix/vicinix_appearance.h>

#include <cmath>

#include "base/date_format.h"
#include "base/fatal.h"
#include "base/property_list.h"
#include "base/sdk.h"
#include "base/uuid.h"
#include "network/graphql_client.h"
#include "network/reachability.h"

namespace vicinix {
namespace {

using Key = VicinixDefaultsKey;
using Type = VicinixConfigurator::ValueType;

constexpr auto kRequiredVersionDelay = std::chrono::milliseconds(50);
constexpr int64_t kDefaultRequiredVersionFreshness = 86400;

DefaultsStore& store() {
  return Sdk::current().defaults();
}

std::string key(Key k) {
  return std::string(VicinixConfigurator::keyString(k));
}

// The theme as a property list. A GraphQL backend sends null for every unset
// field; a null member is left out, so that key takes its default, rather
// than the whole theme being refused because a property list has no null.
std::optional<PlistValue> toPlist(const nlohmann::json& json, int depth = 0) {
  if (depth > 64) return std::nullopt;
  switch (json.type()) {
    case nlohmann::json::value_t::string:
      return PlistValue(json.get<std::string>());
    case nlohmann::json::value_t::boolean:
      return PlistValue(json.get<bool>());
    case nlohmann::json::value_t::number_integer:
      return PlistValue(json.get<int64_t>());
    case nlohmann::json::value_t::number_unsigned:
      if (json.get<uint64_t>() > uint64_t(INT64_MAX)) return PlistValue(json.get<double>());
      return PlistValue(static_cast<int64_t>(json.get<uint64_t>()));
    case nlohmann::json::value_t::number_float:
      return PlistValue(json.get<double>());
    case nlohmann::json::value_t::array: {
      PlistValue::Array array;
      for (const auto& item : json) {
        auto value = toPlist(item, depth + 1);
        if (!value) return std::nullopt;
        array.push_back(std::move(*value));
      }
      return PlistValue(std::move(array));
    }
    case nlohmann::json::value_t::object: {
      PlistValue::Dictionary dictionary;
      for (const auto& [name, item] : json.items()) {
        if (item.is_null()) continue;
        auto value = toPlist(item, depth + 1);
        if (!value) return std::nullopt;
        dictionary.emplace(name, std::move(*value));
      }
      return PlistValue(std::move(dictionary));
    }
    default:
      return std::nullopt;
  }
}

void applyTheme(const JsonValue& theme) {
  Sdk& sdk = Sdk::current();
  if (theme.isNull()) {
    sdk.debug("Config Data has no theme...");
  } else if (auto plist = toPlist(theme.raw())) {
    if (auto error = VicinixAppearance::saveTheme(*plist)) sdk.debug(*error);
  } else {
    sdk.debug("Error: the theme cannot be stored as a property list");
  }
  VicinixAppearance::reloadTheme();
}

// Whole seconds from `since` to now, truncated toward zero.
int64_t elapsedSeconds(Date since) {
  double seconds = std::chrono::duration<double>(Sdk::current().clock().now() - since).count();
  double whole = std::trunc(seconds);
  if (!(whole >= -9.2233720368547758e18 && whole < 9.2233720368547758e18)) {
    fatal("elapsed time since the required-version answer is out of range");
  }
  return static_cast<int64_t>(whole);
}

bool requiredVersionIsFresh() {
  auto updated = store().date(key(Key::requiredSdkVersionUpdateDate));
  if (!updated) return false;
  int64_t elapsed = elapsedSeconds(*updated);
  int64_t period = VicinixConfigurator::requiredSdkVersionExpiration();
  if (period == 0) period = kDefaultRequiredVersionFreshness;
  return period >= elapsed;
}

}  // namespace

const std::vector<VicinixConfigurator::KeyInfo>& VicinixConfigurator::keys() {
  static const std::vector<KeyInfo> table = {
      {Key::applicationKey, "VicinixApplicationKeyDefaultsKey", Type::string},
      {Key::deviceID, "VicinixDeviceIDDefaultsKey", Type::string},
      {Key::requiredSDKVersion, "VicinixRequiredSDKVersionDefaultsKey", Type::integer},
      {Key::appBadges, "VicinixAppBadgesVersionDefaultsKey", Type::boolean},
      {Key::dailyNotificationLimit, "VicinixDailyNotificationLimitVersionDefaultsKey",
       Type::integer},
      {Key::campaignExpiration, "VicinixCampaignExpirationLimitVersionDefaultsKey", Type::integer},
      {Key::scaningIntervalOnForeground, "VicinixScaningIntervalOnForegroundVersionDefaultsKey",
       Type::integer},
      {Key::requiredSdkVersionExpiration, "VicinixRequiredSdkVersionExpirationVersionDefaultsKey",
       Type::integer},
      {Key::requiredSdkVersionUpdateDate, "VicinixRequiredSdkVersionUpdateDateDefaultsKey",
       Type::date},
      {Key::beaconExpiration, "VicinixBeaconExpirationVersionDefaultsKey", Type::integer},
      {Key::namespaces, "VicinixNamespacesVersionDefaultsKey", Type::stringArray},
      {Key::iBeacons, "VicinixiBeaconsDefaultsKey", Type::stringArray},
      {Key::todaysNotificationCount, "VicinixTodaysNotificationCountDefaultsKey", Type::integer},
      {Key::notificationLimitDate, "VicinixNotificationLimitDateDefaultsKey", Type::date},
      {Key::notificationsAllowed, "VicinixNotificationsAllowedDefaultsKey", Type::boolean},
      {Key::bluetoothOn, "VicinixBluetoothOnDefaultsKey", Type::boolean},
      {Key::locationAllowed, "", Type::none},
      {Key::internetConnection, "VicinixInternetConnectionDefaultsKey", Type::boolean},
  };
  return table;
}

std::string_view VicinixConfigurator::keyString(VicinixDefaultsKey k) {
  return keys()[static_cast<size_t>(k)].string;
}

void VicinixConfigurator::configure(std::function<void()> completion) {
  GraphQLClient().applicationConfiguration(
      [completion = std::move(completion)](std::optional<JsonValue> reply) {
        if (!reply) return;
        parseAppConfiguration(*reply);
        if (completion) completion();
      });

  if (requiredVersionIsFresh()) return;
  Sdk::current().mainQueue().asyncAfter(kRequiredVersionDelay, [] {
    GraphQLClient().sdkConfiguration([](std::optional<JsonValue> reply) {
      if (reply) parseSdkConfiguration(*reply);
    });
  });
}

void VicinixConfigurator::parseAppConfiguration(const JsonValue& reply) {
  Sdk& sdk = Sdk::current();
  JsonValue config = reply["data"]["sdkApplicationConfig"];
  if (!config.isObject()) {
    sdk.debug("ERROR: while getting config data...");
    return;
  }
  sdk.debug("Got Config Data...");
  DefaultsStore& defaults = sdk.defaults();
  defaults.setInteger(key(Key::dailyNotificationLimit), config["dailyNotificationLimit"].int64());
  defaults.setInteger(key(Key::campaignExpiration), config["campaignExpiration"].int64());
  defaults.setInteger(key(Key::scaningIntervalOnForeground),
                      config["scaningIntervalOnForeground"].int64());
  defaults.setInteger(key(Key::requiredSdkVersionExpiration),
                      config["requiredSdkVersionExpiration"].int64());
  defaults.setInteger(key(Key::beaconExpiration), config["beaconExpiration"].int64());
  defaults.setBool(key(Key::appBadges), config["useAppBadges"].boolean());
  defaults.synchronize();

  applyTheme(config["theme"]);

  std::vector<std::string> iBeacons;
  std::vector<std::string> namespaces;
  for (const auto& entry : config["namespaces"].array()) {
    iBeacons.push_back(entry["ibeaconUuid"].string());
    namespaces.push_back(entry["eddystoneUid"].string());
  }
  defaults.setStringArray(key(Key::iBeacons), std::move(iBeacons));
  defaults.setStringArray(key(Key::namespaces), std::move(namespaces));
  defaults.synchronize();
}

void VicinixConfigurator::parseSdkConfiguration(const JsonValue& reply) {
  JsonValue version = reply["data"]["sdkConfig"]["requiredIosSdkVersion"];
  int64_t value;
  if (version.isNumber()) {
    value = version.int64();
  } else if (version.isBool()) {
    value = version.boolean() ? 1 : 0;
  } else {
    return;  // asked again on the next configure()
  }
  DefaultsStore& defaults = store();
  defaults.setInteger(key(Key::requiredSDKVersion), value);
  defaults.setDate(key(Key::requiredSdkVersionUpdateDate), Sdk::current().clock().now());
  defaults.synchronize();
}

void VicinixConfigurator::save(const std::string& applicationKey) {
  store().setString(key(Key::applicationKey), applicationKey);
  store().synchronize();
}

std::string VicinixConfigurator::applicationKey() {
  return store().string(key(Key::applicationKey)).value_or("");
}

std::string VicinixConfigurator::deviceID() {
  if (auto stored = store().string(key(Key::deviceID))) return *stored;
  std::string id = makeUuidString();
  store().setString(key(Key::deviceID), id);
  store().synchronize();
  return id;
}

bool VicinixConfigurator::sdkEnabled() {
  return requiredSDKVersion() < 1;
}

int64_t VicinixConfigurator::requiredSDKVersion() {
  return store().integer(key(Key::requiredSDKVersion));
}

int64_t VicinixConfigurator::requiredSdkVersionExpiration() {
  return store().integer(key(Key::requiredSdkVersionExpiration));
}

bool VicinixConfigurator::useAppBadges() {
  return store().boolean(key(Key::appBadges));
}

int64_t VicinixConfigurator::dailyNotificationLimit() {
  return store().integer(key(Key::dailyNotificationLimit));
}

int64_t VicinixConfigurator::campaignExpiration() {
  return store().integer(key(Key::campaignExpiration));
}

int64_t VicinixConfigurator::scaningIntervalOnForeground() {
  return store().integer(key(Key::scaningIntervalOnForeground));
}

int64_t VicinixConfigurator::beaconExpiration() {
  return store().integer(key(Key::beaconExpiration));
}

std::vector<std::string> VicinixConfigurator::allowedNamespaces() {
  return store().stringArray(key(Key::namespaces));
}

std::vector<std::string> VicinixConfigurator::allowediBeacons() {
  return store().stringArray(key(Key::iBeacons));
}

// The count belongs to the day stamped beside it. A new day is stamped here
// and its count starts from 0. The stored count is zeroed with the stamp:
// otherwise, once the limit check had stamped the day, the next increase
// would read yesterday's count back and the daily limit would never reset.
int64_t VicinixConfigurator::todaysNotificationCount() {
  Date now = Sdk::current().clock().now();
  auto stamped = store().date(key(Key::notificationLimitDate));
  if (stamped && isSameLocalDay(*stamped, now)) {
    return store().integer(key(Key::todaysNotificationCount));
  }
  store().setDate(key(Key::notificationLimitDate), now);
  store().setInteger(key(Key::todaysNotificationCount), 0);
  store().synchronize();
  return 0;
}

void VicinixConfigurator::increaseNotificationCount() {
  int64_t count = todaysNotificationCount();
  store().setInteger(key(Key::todaysNotificationCount), count + 1);
  store().synchronize();
}

bool VicinixConfigurator::reachedNotificationLimit(int64_t notYetCounted) {
  int64_t limit = dailyNotificationLimit();
  if (limit == 0) return false;
  return todaysNotificationCount() + notYetCounted >= limit;
}

bool VicinixConfigurator::notificationAllowed() {
  return store().boolean(key(Key::notificationsAllowed));
}

void VicinixConfigurator::setNotificationAllowed(bool allowed) {
  store().setBool(key(Key::notificationsAllowed), allowed);
  store().synchronize();
}

bool VicinixConfigurator::bluetoothOn() {
  return store().boolean(key(Key::bluetoothOn));
}

void VicinixConfigurator::setBluetoothOn(bool on) {
  store().setBool(key(Key::bluetoothOn), on);
  store().synchronize();
}

bool VicinixConfigurator::locationAllowed() {
  return Sdk::current().location().locationServicesEnabled();
}

bool VicinixConfigurator::hasInternetConnection() {
  return store().boolean(key(Key::internetConnection));
}

void VicinixConfigurator::setHasInternetConnection(bool connected) {
  store().setBool(key(Key::internetConnection), connected);
  store().synchronize();
}

void VicinixConfigurator::checkForInternetConnection() {
  auto reachability = Reachability::forZeroAddress();
  if (!reachability) fatal("the system refused a reachability reference for 0.0.0.0");
  bool connected = reachability->connection() != Reachability::Connection::none;
  store().setBool(key(Key::internetConnection), connected);
  store().synchronize();
}

}  // namespace vicinix
