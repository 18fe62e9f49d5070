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

  // Whether the backend may be asked about this beacon again: never asked, or
  // asked longer ago than the configured beacon expiration (3600 s when unset).
  bool isAllowedToUpdate() const;
  // The record as debug lines print it, one field per line.
  std::string description() const;

  bool operator==(const Beacon&) const = default;
};

}  // namespace vicinix
