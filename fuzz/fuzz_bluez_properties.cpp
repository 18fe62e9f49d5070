// Device properties reach the BlueZ central from any D-Bus peer owning
// org.bluez: whatever their values' types, they are read or ignored.

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/linux/bluez_device_tracker.h"

namespace {

// Bytes as a GVariant of `type`, in GVariant's serialised form, not trusted.
GVariant* variantFrom(const uint8_t* data, size_t size, const char* type) {
  GBytes* bytes = g_bytes_new(data, size);
  GVariant* value =
      g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(type), bytes, FALSE));
  g_bytes_unref(bytes);
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte splits the rest into changed (a{sv}) and invalidated (as).
  size_t split = size > 1 ? data[0] % size : 0;
  const uint8_t* body = data + 1;
  size_t bodySize = size - 1;
  split = split < bodySize ? split : bodySize;
  GVariant* changed = variantFrom(body, bodySize - split, "a{sv}");
  GVariant* invalidated = variantFrom(body + bodySize - split, split, "as");

  vicinix::BluezDeviceTracker tracker;
  tracker.setAdapter("/org/bluez/hci0");
  tracker.startScan({}, true);
  const std::string path = "/org/bluez/hci0/dev_C0_FF_EE_00_00_01";
  (void)tracker.deviceAdded(path, changed);
  (void)tracker.propertiesChanged(path, changed, invalidated);
  (void)tracker.startScan({"0000feaa-0000-1000-8000-00805f9b34fb"}, false);

  g_variant_unref(changed);
  g_variant_unref(invalidated);
  return 0;
}
