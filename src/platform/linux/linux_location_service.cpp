#include "platform/linux/linux_location_service.h"

namespace vicinix {
namespace {

class LinuxLocationService final : public LocationService {
 public:
  bool locationServicesEnabled() const override { return false; }
  bool rangingAvailable() const override { return false; }
  bool regionMonitoringAvailable() const override { return false; }
};

}  // namespace

std::shared_ptr<LocationService> makeLinuxLocationService() {
  return std::make_shared<LinuxLocationService>();
}

}  // namespace vicinix
