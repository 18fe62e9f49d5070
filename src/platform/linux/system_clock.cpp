#include "platform/linux/system_clock.h"

namespace vicinix {
namespace {

class SystemClock final : public Clock {
 public:
  Date now() const override { return std::chrono::system_clock::now(); }
  // CLOCK_MONOTONIC, the clock GLib's timeouts run on, so a deadline taken
  // here and the timer armed for it agree.
  Uptime uptime() const override { return std::chrono::steady_clock::now(); }
};

}  // namespace

std::shared_ptr<Clock> makeSystemClock() {
  return std::make_shared<SystemClock>();
}

}  // namespace vicinix
