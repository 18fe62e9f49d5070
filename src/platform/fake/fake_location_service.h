#pragma once

#include <atomic>

#include "platform/location_service.h"

namespace vicinix {

// Location capabilities a test switches on and off.
class FakeLocationService final : public LocationService {
 public:
  bool locationServicesEnabled() const override { return enabled; }
  bool rangingAvailable() const override { return ranging; }
  bool regionMonitoringAvailable() const override { return monitoring; }

  std::atomic<bool> enabled{false};
  std::atomic<bool> ranging{false};
  std::atomic<bool> monitoring{false};
};

}  // namespace vicinix
