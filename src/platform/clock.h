#pragma once

#include <chrono>

namespace vicinix {

using Date = std::chrono::system_clock::time_point;

// The wall clock every "now" of the SDK comes from, so tests can move time.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
};

}  // namespace vicinix
