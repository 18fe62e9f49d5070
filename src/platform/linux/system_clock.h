#pragma once

#include <memory>

#include "platform/clock.h"

namespace vicinix {

// The host's wall clock (std::chrono::system_clock). Any thread.
std::shared_ptr<Clock> makeSystemClock();

}  // namespace vicinix
