#pragma once

#include <string_view>

namespace vicinix {

// Stops the program after a write that must not fail has failed. The one way
// out for programming errors, so tests can death-test it. The caller's file
// and line are filled in by the compiler.
[[noreturn]] void fatal(std::string_view message, const char* file = __builtin_FILE(),
                        int line = __builtin_LINE());

}  // namespace vicinix
