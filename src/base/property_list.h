#pragma once

#include <vicinix/plist_value.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/clock.h"

namespace vicinix {

// Reads and writes property lists through libplist, behind our own ownership.
class PropertyList {
 public:
  // The XML form of `value`, or nothing when it cannot be serialised.
  static std::optional<std::string> toXml(const PlistValue& value);
  // Parses XML or binary property-list bytes; nothing when they are not one.
  static std::optional<PlistValue> fromBytes(std::string_view bytes);
};

}  // namespace vicinix
