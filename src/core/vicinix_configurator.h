#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_value.h"

namespace vicinix {

// The persistent settings keys, in their historical order. The key strings
// are what stored data depends on, misnomers included.
enum class VicinixDefaultsKey {
  applicationKey,
  deviceID,
  requiredSDKVersion,
  appBadges,
  dailyNotificationLimit,
  campaignExpiration,
  scaningIntervalOnForeground,
  requiredSdkVersionExpiration,
  requiredSdkVersionUpdateDate,
  beaconExpiration,
  namespaces,
  iBeacons,
  todaysNotificationCount,
  notificationLimitDate,
  notificationsAllowed,
  bluetoothOn,
  locationAllowed,
  internetConnection,
};

// The SDK's settings, the remote configuration and the required-version gate.
// No state of its own: everything lives in the settings store.
class VicinixConfigurator {
 public:
  enum class ValueType { string, integer, boolean, date, stringArray, none };
  struct KeyInfo {
    VicinixDefaultsKey key;
    std::string_view string;  // empty for a setting that is not stored
    ValueType type;
  };
  static const std::vector<KeyInfo>& keys();
  static std::string_view keyString(VicinixDefaultsKey key);

  // Asks the backend for the application configuration and, when the stored
  // answer has gone stale, 50 ms later for the required SDK version. The
  // completion runs after a configuration reply was applied, never without one.
  static void configure(std::function<void()> completion);
  static void parseAppConfiguration(const JsonValue& reply);
  static void parseSdkConfiguration(const JsonValue& reply);

  static void save(const std::string& applicationKey);
  static std::string applicationKey();
  static std::string deviceID();
  static bool sdkEnabled();
  static int64_t requiredSDKVersion();
  static int64_t requiredSdkVersionExpiration();
  static bool useAppBadges();
  static int64_t dailyNotificationLimit();
  static int64_t campaignExpiration();
  static int64_t scaningIntervalOnForeground();
  static int64_t beaconExpiration();
  static std::vector<std::string> allowedNamespaces();
  static std::vector<std::string> allowediBeacons();
  static int64_t todaysNotificationCount();
  static void increaseNotificationCount();
  // `notYetCounted`: notifications on their way that will count once shown.
  static bool reachedNotificationLimit(int64_t notYetCounted = 0);
  static bool notificationAllowed();
  static void setNotificationAllowed(bool allowed);
  static bool bluetoothOn();
  static void setBluetoothOn(bool on);
  static bool locationAllowed();
  static bool hasInternetConnection();
  static void setHasInternetConnection(bool connected);
  static void checkForInternetConnection();
};

}  // namespace vicinix
