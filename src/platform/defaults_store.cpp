#include "platform/defaults_store.h"

#include <strings.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace vicinix {
namespace {

int64_t truncatedToInt64(double value) {
  if (std::isnan(value)) return 0;
  // Beyond ±2^63 a conversion would be undefined; saturate instead.
  if (value >= 9.2233720368547758e18) return std::numeric_limits<int64_t>::max();
  if (value <= -9.2233720368547758e18) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(value);
}

int64_t leadingInteger(const std::string& text) {
  size_t start = text.find_first_not_of(" \t\n");
  if (start == std::string::npos) return 0;
  if (text[start] == '+') ++start;
  int64_t value = 0;
  std::from_chars(text.data() + start, text.data() + text.size(), value);
  return value;
}

}  // namespace

std::optional<std::string> DefaultsStore::string(const std::string& key) const {
  auto value = object(key);
  if (!value) return std::nullopt;
  if (auto* text = std::get_if<std::string>(&*value)) return *text;
  if (auto* number = std::get_if<int64_t>(&*value)) return std::to_string(*number);
  return std::nullopt;
}

int64_t DefaultsStore::integer(const std::string& key) const {
  auto value = object(key);
  if (!value) return 0;
  if (auto* number = std::get_if<int64_t>(&*value)) return *number;
  if (auto* real = std::get_if<double>(&*value)) return truncatedToInt64(*real);
  if (auto* flag = std::get_if<bool>(&*value)) return *flag ? 1 : 0;
  if (auto* text = std::get_if<std::string>(&*value)) return leadingInteger(*text);
  return 0;
}

bool DefaultsStore::boolean(const std::string& key) const {
  auto value = object(key);
  if (!value) return false;
  if (auto* flag = std::get_if<bool>(&*value)) return *flag;
  if (auto* number = std::get_if<int64_t>(&*value)) return *number != 0;
  if (auto* real = std::get_if<double>(&*value)) return *real != 0.0;
  if (auto* text = std::get_if<std::string>(&*value)) {
    return strcasecmp(text->c_str(), "yes") == 0 || strcasecmp(text->c_str(), "true") == 0 ||
           leadingInteger(*text) != 0;
  }
  return false;
}

std::optional<Date> DefaultsStore::date(const std::string& key) const {
  auto value = object(key);
  if (!value) return std::nullopt;
  if (auto* when = std::get_if<Date>(&*value)) return *when;
  return std::nullopt;
}

std::vector<std::string> DefaultsStore::stringArray(const std::string& key) const {
  auto value = object(key);
  if (!value) return {};
  if (auto* list = std::get_if<std::vector<std::string>>(&*value)) return *list;
  return {};
}

}  // namespace vicinix
