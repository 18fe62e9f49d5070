#include "data/model/json_reads.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace vicinix {

std::string readText(const JsonValue& value) {
  if (value.isString()) return value.string();
  if (value.isBool()) return value.boolean() ? "true" : "false";
  if (value.isNumber()) return value.raw().dump();
  return "";
}

int64_t readInteger(const JsonValue& value) {
  if (value.isNumber()) return value.int64();
  if (value.isBool()) return value.boolean() ? 1 : 0;
  if (!value.isString()) return 0;
  const std::string& text = value.raw().get_ref<const std::string&>();
  int64_t integer = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), integer);
  if (error == std::errc() && end == text.data() + text.size()) return integer;
  // "12.5" and "1e3" are numbers too; anything else is not.
  char* parsedEnd = nullptr;
  double number = std::strtod(text.c_str(), &parsedEnd);
  if (text.empty() || parsedEnd != text.c_str() + text.size() || !std::isfinite(number)) return 0;
  return JsonValue(nlohmann::json(number)).int64();
}

}  // namespace vicinix
