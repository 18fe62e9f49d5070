#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/location_service.h"

namespace vicinix {

// Location capabilities a test switches on and off; requests are recorded as
// "startMonitoring <identifier>" and the like.
class FakeLocationService final : public LocationService {
 public:
  bool locationServicesEnabled() const override { return enabled; }
  bool rangingAvailable() const override { return ranging; }
  bool regionMonitoringAvailable() const override { return monitoring; }

  void requestAlwaysAuthorization() override { record("requestAlwaysAuthorization"); }
  void setAllowsBackgroundLocationUpdates(bool allows) override {
    record(allows ? "allowsBackgroundLocationUpdates" : "disallowsBackgroundLocationUpdates");
  }
  void startMonitoring(const BeaconRegion& region) override {
    record("startMonitoring " + region.identifier);
  }
  void startRangingBeacons(const BeaconRegion& region) override {
    record("startRanging " + region.identifier);
  }
  void stopMonitoring(const BeaconRegion& region) override {
    record("stopMonitoring " + region.identifier);
  }
  void stopRangingBeacons(const BeaconRegion& region) override {
    record("stopRanging " + region.identifier);
  }

  std::vector<std::string> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }

  std::atomic<bool> enabled{false};
  std::atomic<bool> ranging{false};
  std::atomic<bool> monitoring{false};

 private:
  void record(std::string call) {
    std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace vicinix
