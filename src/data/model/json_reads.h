#pragma once

#include <cstdint>
#include <string>

#include "base/json_value.h"

namespace vicinix {

// The reads campaign import uses, more forgiving than JsonValue's own: a
// number reads as its decimal text, a Boolean as "true" or "false".
std::string readText(const JsonValue& value);
// A number, the value of a numeric text, 1 or 0 for a Boolean, else 0.
int64_t readInteger(const JsonValue& value);

}  // namespace vicinix
