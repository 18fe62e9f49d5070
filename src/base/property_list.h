#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/clock.h"

namespace vicinix {

// A property-list value: string, integer, real, Boolean, date, data, array or
// dictionary with string keys.
struct PlistValue {
  using Array = std::vector<PlistValue>;
  using Dictionary = std::map<std::string, PlistValue>;
  using Data = std::vector<uint8_t>;
  std::variant<std::string, int64_t, double, bool, Date, Data, Array, Dictionary> value;

  PlistValue() = default;
  template <class T>
  PlistValue(T v) : value(std::move(v)) {}  // NOLINT: values read naturally as literals
  PlistValue(const char* text) : value(std::string(text)) {}

  template <class T>
  const T* get() const {
    return std::get_if<T>(&value);
  }
  bool operator==(const PlistValue& other) const = default;
};

// Reads and writes property lists through libplist, behind our own ownership.
class PropertyList {
 public:
  // The XML form of `value`, or nothing when it cannot be serialised.
  static std::optional<std::string> toXml(const PlistValue& value);
  // Parses XML or binary property-list bytes; nothing when they are not one.
  static std::optional<PlistValue> fromBytes(std::string_view bytes);
};

}  // namespace vicinix
