#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

namespace vicinix {

// An or-pattern advertisement monitor for Eddystone service data (AD type
// 0x16 starting with the UUID 0xFEAA), registered with one adapter's
// org.bluez.AdvertisementMonitorManager1. While a monitor is registered the
// kernel scans with the controller's duplicate filter off, so BlueZ hears
// every advertisement of a beacon instead of about one per discovery window.
//
// Made, used and destroyed on the thread whose GLib context serves
// `connection` (the BlueZ central's worker).
class BluezAdvertisementMonitor {
 public:
  // Exports the monitor below `rootPath` and asks BlueZ to register it;
  // `done` hears whether it did, with BlueZ's error otherwise.
  BluezAdvertisementMonitor(GDBusConnection* connection, std::string adapterPath,
                            std::string rootPath,
                            std::function<void(bool registered, const std::string& error)> done);
  // Unregisters from BlueZ (without waiting) and withdraws the objects.
  ~BluezAdvertisementMonitor();
  BluezAdvertisementMonitor(const BluezAdvertisementMonitor&) = delete;
  BluezAdvertisementMonitor& operator=(const BluezAdvertisementMonitor&) = delete;

  const std::string& adapterPath() const { return adapterPath_; }

  // What the exported objects and the registration call hold of the monitor.
  struct Shared;

 private:
  std::shared_ptr<Shared> shared_;
  GDBusConnection* connection_;
  std::string adapterPath_;
  std::string rootPath_;
  guint rootRegistration_ = 0;
  guint monitorRegistration_ = 0;
};

}  // namespace vicinix
