#pragma once

#include <optional>
#include <string>

#include "platform/clock.h"

namespace vicinix {

// One physical Eddystone beacon the device has seen.
struct Beacon {
  std::string id{};
  std::string namespace_{};  // `namespace` is a C++ keyword
  std::string instance{};
  Date created{};
  std::optional<Date> updated{};  // last campaign request for this beacon

  bool operator==(const Beacon&) const = default;
};

}  // namespace vicinix
