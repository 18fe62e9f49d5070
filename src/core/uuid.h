#pragma once

#include <string>

namespace vicinix {

// A new random UUID in its canonical upper-case text form (36 characters).
std::string makeUuidString();

}  // namespace vicinix
