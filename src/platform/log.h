#pragma once

#include <string_view>

namespace vicinix {

// Where the SDK's lines go: debug lines (standard output, printed only while
// debugging is on) and the few warnings that always reach the system log.
class Log {
 public:
  virtual ~Log() = default;
  virtual void debugLine(std::string_view line) = 0;
  virtual void systemLine(std::string_view line) = 0;
};

}  // namespace vicinix
