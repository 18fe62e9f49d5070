#pragma once

#include <glib.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bluetooth_central.h"
#include "platform/linux/central_delegate_link.h"

namespace vicinix {

// Keeps BlueZ's org.bluez.Device1 properties and decides which of their
// changes are advertisements the BlueZ central reports while scanning.
//
// A change that carries RSSI or ServiceData is one advertisement. A device
// with service data is reported on each, with the service data it last showed;
// a device that never showed any is reported once per scan (with absent
// service data), not on every signal-strength update. Only devices of the
// chosen adapter that list or carry a wanted service count. Properties of the
// wrong type are ignored.
class BluezDeviceTracker {
 public:
  using Discovery = CentralDiscovery;

  // Reports come from devices below this adapter object path only.
  void setAdapter(std::string adapterPath);

  // `serviceUUIDs` in BlueZ's full form; none means every device. Forgets
  // what earlier scans reported and returns the devices already in range, the
  // ones BlueZ gives a signal strength.
  std::vector<Discovery> startScan(std::vector<std::string> serviceUUIDs, bool allowDuplicates);
  void stopScan();

  // `properties` is the a{sv} of Device1 (GetManagedObjects, InterfacesAdded).
  std::optional<Discovery> deviceAdded(const std::string& path, GVariant* properties);
  // PropertiesChanged's a{sv} of changed and `as` of invalidated properties.
  std::optional<Discovery> propertiesChanged(const std::string& path, GVariant* changed,
                                             GVariant* invalidated);
  void deviceRemoved(const std::string& path);
  // Every device below `adapterPath`; all of them for "".
  void forgetDevicesBelow(std::string_view adapterPath);

 private:
  struct Device {
    std::optional<PeripheralIdentifier> peripheral;
    std::optional<int> RSSI;
    ServiceDataMap serviceData;                 // by short UUID, as reported
    std::vector<std::string> serviceDataUUIDs;  // the same UUIDs in full form
    std::vector<std::string> UUIDs;             // full form
    bool reported = false;                      // in the current scan
  };

  // True when the properties carry evidence of an advertisement.
  static bool merge(Device& device, GVariant* properties);
  bool wanted(const Device& device) const;
  std::optional<Discovery> consider(const std::string& path, Device& device);

  std::string adapterPrefix_;
  std::map<std::string, Device> devices_;
  bool scanning_ = false;
  bool allowDuplicates_ = false;
  std::set<std::string> serviceUUIDs_;
};

}  // namespace vicinix
