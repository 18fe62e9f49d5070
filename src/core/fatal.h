#pragma once

#include <source_location>
#include <string_view>

namespace vicinix {

// Stops the program after a write that must not fail has failed. The one way
// out for programming errors, so tests can death-test it.
[[noreturn]] void fatal(std::string_view message,
                        std::source_location where = std::source_location::current());

}  // namespace vicinix
