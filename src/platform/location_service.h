#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vicinix {

// Every iBeacon of one proximity UUID, whatever its major and minor.
struct BeaconRegion {
  std::array<uint8_t, 16> proximityUUID{};
  std::string identifier;
  bool operator==(const BeaconRegion&) const = default;
};

// What the host's location facility offers. On Linux there is none: the
// queries answer false and the requests do nothing.
class LocationService {
 public:
  virtual ~LocationService() = default;
  virtual bool locationServicesEnabled() const = 0;
  virtual bool rangingAvailable() const = 0;
  virtual bool regionMonitoringAvailable() const = 0;

  virtual void requestAlwaysAuthorization() {}
  virtual void setAllowsBackgroundLocationUpdates(bool allows) { (void)allows; }
  virtual void startMonitoring(const BeaconRegion& region) { (void)region; }
  virtual void startRangingBeacons(const BeaconRegion& region) { (void)region; }
  virtual void stopMonitoring(const BeaconRegion& region) { (void)region; }
  virtual void stopRangingBeacons(const BeaconRegion& region) { (void)region; }
};

}  // namespace vicinix
