#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/clock.h"

namespace vicinix {

using DefaultsValue =
    std::variant<std::string, int64_t, double, bool, Date, std::vector<std::string>>;

// The process-wide key-value settings store. Implementations are thread-safe.
// Typed reads are lenient: an absent or mistyped integer reads 0, a Boolean
// false, an array the empty array.
class DefaultsStore {
 public:
  virtual ~DefaultsStore() = default;

  virtual std::optional<DefaultsValue> object(const std::string& key) const = 0;
  virtual void set(const std::string& key, DefaultsValue value) = 0;
  virtual void remove(const std::string& key) = 0;
  virtual std::map<std::string, DefaultsValue> snapshot() const = 0;
  // Makes every change so far durable. False when that failed; the values stay
  // in memory and the next synchronize() tries again.
  virtual bool synchronize() = 0;

  std::optional<std::string> string(const std::string& key) const;
  int64_t integer(const std::string& key) const;
  bool boolean(const std::string& key) const;
  std::optional<Date> date(const std::string& key) const;
  std::vector<std::string> stringArray(const std::string& key) const;

  void setString(const std::string& key, std::string value) { set(key, std::move(value)); }
  void setInteger(const std::string& key, int64_t value) { set(key, value); }
  void setBool(const std::string& key, bool value) { set(key, value); }
  void setDate(const std::string& key, Date value) { set(key, value); }
  void setStringArray(const std::string& key, std::vector<std::string> value) {
    set(key, std::move(value));
  }
};

}  // namespace vicinix
