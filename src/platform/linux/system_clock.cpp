#include "platform/linux/system_clock.h"

namespace vicinix {
namespace {

class SystemClock final : public Clock {
 public:
  Date now() const override { return std::chrono::system_clock::now(); }
};

}  // namespace

std::shared_ptr<Clock> makeSystemClock() {
  return std::make_shared<SystemClock>();
}

}  // namespace vicinix
