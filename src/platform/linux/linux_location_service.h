#pragma once

#include <memory>

#include "platform/location_service.h"

namespace vicinix {

// Linux hosts have no location facility the SDK could use: everything is off.
std::shared_ptr<LocationService> makeLinuxLocationService();

}  // namespace vicinix
