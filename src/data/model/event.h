#pragma once

#include <optional>
#include <string>

#include "platform/clock.h"

namespace vicinix {

class Sdk;

// One analytics event waiting for upload. The four flags are the device's
// state when the event happened, not when it is uploaded.
struct Event {
  std::string id{};
  std::string type{};
  Date created{};
  std::string timestamp{};
  std::optional<std::string> campaignId{};
  std::optional<std::string> beaconNamespace{};
  std::optional<std::string> beaconInstance{};
  bool hasBluetoothTurnedOn = false;
  bool hasInternetConnection = false;
  bool hasLocationPermission = false;
  bool hasNotificationPermission = false;

  // A new event: fresh upper-case UUID, created now, and the device state
  // read from the settings and the location service of `sdk`.
  static Event makeNew(Sdk& sdk);

  bool operator==(const Event&) const = default;
};

}  // namespace vicinix
