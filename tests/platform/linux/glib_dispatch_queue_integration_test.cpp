#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "platform/dispatch_queue_conformance.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

// The main queue runs where the test iterates the default context; a serial
// queue on a thread of its own while the test does so.
template <bool kMainQueue>
struct GlibHarness {
  std::shared_ptr<DispatchQueueFactory> factory = makeGlibDispatchQueueFactory();
  std::shared_ptr<DispatchQueue> serial = factory->makeSerialQueue("serial");
  std::shared_ptr<DispatchQueue> queue = kMainQueue ? factory->mainQueue() : serial;
  std::shared_ptr<DispatchQueue> otherQueue = kMainQueue ? serial : factory->mainQueue();
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

  bool runUntil(const std::function<bool()>& done) { return runMainLoopUntil(done, 10s); }
  Duration elapsed() const { return std::chrono::steady_clock::now() - start; }
};

}  // namespace

namespace conformance {
using GlibHarnesses = ::testing::Types<GlibHarness<true>, GlibHarness<false>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Glib, DispatchQueueConformance, GlibHarnesses);
}  // namespace conformance

namespace {

TEST(GlibSerialQueue, ReleasedByItsOwnTaskItDropsWhatWaitsWithoutWaitingForIt) {
  auto holder = std::make_shared<std::shared_ptr<DispatchQueue>>(
      makeGlibDispatchQueueFactory()->makeSerialQueue("self-releasing"));
  DispatchQueue& queue = **holder;
  std::promise<void> gate;
  std::atomic<bool> waitingRan{false};
  auto token = std::make_shared<int>(0);
  std::weak_ptr<int> waitingHeld = token;
  queue.async([open = gate.get_future().share()] { open.wait(); });
  // Destroyed on its own thread, the queue must not try to join that thread.
  queue.async([holder] { holder->reset(); });
  queue.async([&waitingRan, token] { waitingRan = true; });
  queue.asyncAfter(1h, [&waitingRan, token = std::move(token)] { waitingRan = true; });
  gate.set_value();

  for (int i = 0; i < 1000 && !waitingHeld.expired(); ++i) std::this_thread::sleep_for(10ms);
  EXPECT_TRUE(waitingHeld.expired()) << "tasks behind the release are still held";
  EXPECT_FALSE(waitingRan);
}

TEST(GlibTimerSource, DestroyingItWaitsForItsHandlerRunningOnAnotherThread) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("timers");
  std::promise<void> entered, gate, destroyed;
  auto timer = queue->makeTimerSource([&, open = gate.get_future().share()] {
    entered.set_value();
    open.wait();
  });
  timer->arm(0ms);
  entered.get_future().wait();
  std::thread destroyer([&] {
    timer.reset();
    destroyed.set_value();
  });
  // What the handler uses may go once the destructor returns, so it must not
  // return while the handler is held at the gate.
  EXPECT_EQ(destroyed.get_future().wait_for(50ms), std::future_status::timeout);
  gate.set_value();
  destroyer.join();
}

}  // namespace
}  // namespace vicinix
