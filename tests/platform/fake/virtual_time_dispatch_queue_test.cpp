#include <gtest/gtest.h>

#include "platform/dispatch_queue_conformance.h"
#include "platform/fake/virtual_time.h"

namespace vicinix::conformance {
namespace {

// Virtual time moves only when the test says; here in 1 ms steps, so the
// timing assertions see the deadlines they expect.
struct VirtualTimeHarness {
  std::shared_ptr<VirtualTime> time = VirtualTime::create(Date{});
  std::shared_ptr<DispatchQueue> queue = time->mainQueue();
  std::shared_ptr<DispatchQueue> otherQueue = time->makeSerialQueue("other");

  bool runUntil(const std::function<bool()>& done) {
    time->runUntilIdle();
    for (int step = 0; step < 600000 && !done(); ++step) time->advance(1ms);
    return done();
  }
  Duration elapsed() const { return time->elapsed(); }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(VirtualTime, DispatchQueueConformance, VirtualTimeHarness);

}  // namespace vicinix::conformance
