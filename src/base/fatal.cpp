#include "base/fatal.h"

#include <cstdio>
#include <cstdlib>

namespace vicinix {

void fatal(std::string_view message, const char* file, int line) {
  std::fprintf(stderr, "vicinix: fatal error: %.*s (%s:%d)\n", static_cast<int>(message.size()),
               message.data(), file, line);
  std::fflush(stderr);
  std::abort();
}

}  // namespace vicinix
