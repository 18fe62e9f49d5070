#include "data/model/event.h"

#include "base/sdk.h"
#include "base/uuid.h"

namespace vicinix {

Event Event::makeNew(Sdk& sdk) {
  DefaultsStore& defaults = sdk.defaults();
  Event event;
  event.id = makeUuidString();
  event.created = sdk.clock().now();
  event.hasBluetoothTurnedOn = defaults.boolean("VicinixBluetoothOnDefaultsKey");
  event.hasInternetConnection = defaults.boolean("VicinixInternetConnectionDefaultsKey");
  event.hasLocationPermission = sdk.location().locationServicesEnabled();
  event.hasNotificationPermission = defaults.boolean("VicinixNotificationsAllowedDefaultsKey");
  return event;
}

}  // namespace vicinix
