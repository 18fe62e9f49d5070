#pragma once

/// @file
/// The property-list value themes are saved and loaded as.

#include <vicinix/export.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vicinix {

/// A property-list value: string, integer, real, Boolean, date, data, array or
/// dictionary with string keys. Themes are saved and loaded as one.
struct VICINIX_EXPORT PlistValue {
  /// @name The composite kinds
  /// @{
  using Array = std::vector<PlistValue>;                 ///< An array.
  using Dictionary = std::map<std::string, PlistValue>;  ///< A dictionary with string keys.
  using Data = std::vector<uint8_t>;                     ///< Raw bytes.
  /// @}
  /// The value itself.
  std::variant<std::string, int64_t, double, bool, std::chrono::system_clock::time_point, Data,
               Array, Dictionary>
      value;

  /// An empty string.
  PlistValue() = default;
  /// Any of the kinds above.
  template <class T>
  PlistValue(T v) : value(std::move(v)) {}  // NOLINT: values read naturally as literals
  /// A string.
  PlistValue(const char* text) : value(std::string(text)) {}

  /// The value as a T, or null when it is another kind.
  template <class T>
  const T* get() const {
    return std::get_if<T>(&value);
  }
  bool operator==(const PlistValue& other) const = default;  ///< Same kind and value.
};

}  // namespace vicinix
