#pragma once

#include <memory>

#include "platform/clock.h"

namespace vicinix {

// The host's wall clock (std::chrono::system_clock) and its monotonic clock
// (std::chrono::steady_clock). Any thread.
std::shared_ptr<Clock> makeSystemClock();

}  // namespace vicinix
