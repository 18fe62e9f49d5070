#pragma once

#include <chrono>

namespace vicinix {

using Date = std::chrono::system_clock::time_point;
// A reading of a clock that only moves forward, at a steady rate, whatever is
// done to the wall clock. Meaningful only against other readings.
using Uptime = std::chrono::steady_clock::time_point;

// Where every "now" of the SDK comes from, so tests can move time. Dates that
// are shown or stored come from now(); timeouts and pacing are measured with
// uptime(), which an NTP step or a kiosk without a real-time clock setting the
// date at boot cannot move.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
  virtual Uptime uptime() const = 0;
};

}  // namespace vicinix
