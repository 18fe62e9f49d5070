#pragma once

namespace vicinix {

// What the host's location facility offers. On Linux there is none.
class LocationService {
 public:
  virtual ~LocationService() = default;
  virtual bool locationServicesEnabled() const = 0;
  virtual bool rangingAvailable() const = 0;
  virtual bool regionMonitoringAvailable() const = 0;
};

}  // namespace vicinix
