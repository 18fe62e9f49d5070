#include "platform/linux/bluez_device_tracker.h"

#include <algorithm>

#include "platform/linux/bluetooth_address.h"
#include "platform/linux/service_uuid.h"

namespace vicinix {
namespace {

bool isOfType(GVariant* value, const char* type) {
  return value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE(type));
}

// BlueZ names device objects after the address: .../dev_AA_BB_CC_DD_EE_FF.
std::optional<PeripheralIdentifier> identifierFromPath(const std::string& path) {
  auto slash = path.rfind('/');
  std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
  if (name.rfind("dev_", 0) != 0) return std::nullopt;
  std::string text = name.substr(4);
  std::replace(text.begin(), text.end(), '_', ':');
  auto address = BluetoothAddress::parse(text);
  if (!address) return std::nullopt;
  return address->peripheralIdentifier();
}

}  // namespace

void BluezDeviceTracker::setAdapter(std::string adapterPath) {
  adapterPrefix_ = adapterPath.empty() ? "" : adapterPath + "/";
}

std::vector<BluezDeviceTracker::Discovery> BluezDeviceTracker::startScan(
    std::vector<std::string> serviceUUIDs, bool allowDuplicates) {
  scanning_ = true;
  allowDuplicates_ = allowDuplicates;
  serviceUUIDs_ = std::set<std::string>(serviceUUIDs.begin(), serviceUUIDs.end());
  std::vector<Discovery> inRange;
  for (auto& [path, device] : devices_) device.reported = false;
  for (auto& [path, device] : devices_) {
    if (!device.RSSI) continue;
    if (auto discovery = consider(path, device)) inRange.push_back(std::move(*discovery));
  }
  return inRange;
}

void BluezDeviceTracker::stopScan() {
  scanning_ = false;
}

std::optional<BluezDeviceTracker::Discovery> BluezDeviceTracker::deviceAdded(
    const std::string& path, GVariant* properties) {
  Device& device = devices_[path] = Device{};
  device.peripheral = identifierFromPath(path);
  merge(device, properties);
  // Service data outlives discovery in BlueZ; a signal strength does not, so
  // only a device with one has been heard lately.
  if (!device.RSSI) return std::nullopt;
  return consider(path, device);
}

std::optional<BluezDeviceTracker::Discovery> BluezDeviceTracker::propertiesChanged(
    const std::string& path, GVariant* changed, GVariant* invalidated) {
  auto [it, added] = devices_.try_emplace(path);
  Device& device = it->second;
  if (added) device.peripheral = identifierFromPath(path);
  if (isOfType(invalidated, "as")) {
    GVariantIter iter;
    const char* name = nullptr;
    g_variant_iter_init(&iter, invalidated);
    while (g_variant_iter_next(&iter, "&s", &name)) {
      std::string_view property(name);
      if (property == "RSSI") device.RSSI.reset();
      if (property == "ServiceData") device.serviceData.clear(), device.serviceDataUUIDs.clear();
      if (property == "UUIDs") device.UUIDs.clear();
    }
  }
  if (!merge(device, changed)) return std::nullopt;
  return consider(path, device);
}

void BluezDeviceTracker::deviceRemoved(const std::string& path) {
  devices_.erase(path);
}

void BluezDeviceTracker::forgetDevicesBelow(std::string_view adapterPath) {
  std::string prefix = adapterPath.empty() ? "" : std::string(adapterPath) + "/";
  std::erase_if(devices_, [&](const auto& entry) { return entry.first.starts_with(prefix); });
}

bool BluezDeviceTracker::merge(Device& device, GVariant* properties) {
  if (!isOfType(properties, "a{sv}")) return false;
  bool advertised = false;
  GVariantIter iter;
  const char* name = nullptr;
  GVariant* value = nullptr;
  g_variant_iter_init(&iter, properties);
  while (g_variant_iter_next(&iter, "{&sv}", &name, &value)) {
    std::string_view property(name);
    if (property == "Address" && isOfType(value, "s")) {
      if (auto address = BluetoothAddress::parse(g_variant_get_string(value, nullptr)))
        device.peripheral = address->peripheralIdentifier();
    } else if (property == "RSSI" && isOfType(value, "n")) {
      device.RSSI = g_variant_get_int16(value);
      advertised = true;
    } else if (property == "ServiceData" && isOfType(value, "a{sv}")) {
      device.serviceData.clear();
      device.serviceDataUUIDs.clear();
      GVariantIter entries;
      const char* key = nullptr;
      GVariant* bytes = nullptr;
      g_variant_iter_init(&entries, value);
      while (g_variant_iter_next(&entries, "{&sv}", &key, &bytes)) {
        auto uuid = ServiceUUID::parse(key);
        if (uuid && isOfType(bytes, "ay")) {
          gsize size = 0;
          auto* data = static_cast<const uint8_t*>(g_variant_get_fixed_array(bytes, &size, 1));
          device.serviceData.emplace(uuid->shortText(), std::vector<uint8_t>(data, data + size));
          device.serviceDataUUIDs.push_back(uuid->fullText());
        }
        g_variant_unref(bytes);
      }
      advertised = true;
    } else if (property == "UUIDs" && isOfType(value, "as")) {
      device.UUIDs.clear();
      GVariantIter entries;
      const char* text = nullptr;
      g_variant_iter_init(&entries, value);
      while (g_variant_iter_next(&entries, "&s", &text)) {
        if (auto uuid = ServiceUUID::parse(text)) device.UUIDs.push_back(uuid->fullText());
      }
    }
    g_variant_unref(value);
  }
  return advertised;
}

bool BluezDeviceTracker::wanted(const Device& device) const {
  if (serviceUUIDs_.empty()) return true;
  auto listed = [&](const std::vector<std::string>& uuids) {
    return std::any_of(uuids.begin(), uuids.end(),
                       [&](const std::string& uuid) { return serviceUUIDs_.contains(uuid); });
  };
  return listed(device.UUIDs) || listed(device.serviceDataUUIDs);
}

std::optional<BluezDeviceTracker::Discovery> BluezDeviceTracker::consider(const std::string& path,
                                                                          Device& device) {
  if (!scanning_ || adapterPrefix_.empty() || !path.starts_with(adapterPrefix_))
    return std::nullopt;
  if (!device.peripheral || !wanted(device)) return std::nullopt;
  bool withData = !device.serviceData.empty();
  if (device.reported && !(allowDuplicates_ && withData)) return std::nullopt;
  device.reported = true;
  Discovery discovery{.peripheral = *device.peripheral,
                      .serviceData = std::nullopt,
                      .RSSI = device.RSSI.value_or(127)};
  if (withData) discovery.serviceData = device.serviceData;
  return discovery;
}

}  // namespace vicinix
