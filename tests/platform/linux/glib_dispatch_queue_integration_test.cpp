#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "platform/dispatch_queue_conformance.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_platform.h"

// GLib's mutexes are futexes ThreadSanitizer cannot see, so the copies and
// reallocations GLib makes under them look like races. Only accesses made by
// interceptors called from inside GLib are ignored; ours are still checked.
// Any test of this binary that starts GLib on several threads needs it.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so\n";
}

namespace vicinix {
namespace {

using namespace std::chrono_literals;

// Generous: only a broken implementation comes near it.
constexpr auto kPatience = std::chrono::seconds(10);
using conformance::Journal;

// The main queue, driven by iterating the default context on the test thread.
struct GlibMainQueueHarness {
  std::shared_ptr<DispatchQueueFactory> factory = makeGlibDispatchQueueFactory();
  std::shared_ptr<DispatchQueue> queue = factory->mainQueue();
  std::shared_ptr<DispatchQueue> otherQueue = factory->makeSerialQueue("other");
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

  bool runUntil(Journal&, const std::function<bool()>& done) {
    return runMainLoopUntil(done, kPatience);
  }
  Duration elapsed() const { return std::chrono::steady_clock::now() - start; }
};

// A serial queue, which runs on its own thread while the test waits.
struct GlibSerialQueueHarness {
  std::shared_ptr<DispatchQueueFactory> factory = makeGlibDispatchQueueFactory();
  std::shared_ptr<DispatchQueue> queue = factory->makeSerialQueue("under test");
  std::shared_ptr<DispatchQueue> otherQueue = factory->mainQueue();
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

  bool runUntil(Journal& journal, const std::function<bool()>& done) {
    return journal.waitFor(done, 10s);
  }
  Duration elapsed() const { return std::chrono::steady_clock::now() - start; }
};

}  // namespace

namespace conformance {
using GlibHarnesses = ::testing::Types<GlibMainQueueHarness, GlibSerialQueueHarness>;
INSTANTIATE_TYPED_TEST_SUITE_P(Glib, DispatchQueueConformance, GlibHarnesses);
}  // namespace conformance

namespace {

TEST(GlibDispatchQueue, MainQueueWorkPostedFromAWorkerRunsOnTheThreadIteratingTheContext) {
  // Nothing owns the default context yet, which is when g_main_context_invoke
  // would run the work on the worker itself.
  auto factory = makeGlibDispatchQueueFactory();
  auto main = factory->mainQueue();
  std::atomic<bool> ran{false};
  std::thread::id ranOn;
  std::thread([&] {
    main->async([&] {
      ranOn = std::this_thread::get_id();
      ran = true;
    });
  }).join();

  ASSERT_TRUE(runMainLoopUntil([&] { return ran.load(); }, kPatience));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(GlibDispatchQueue, SerialQueueRunsTasksFromManyThreadsOneAtATimeInEachThreadsOrder) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("contended");
  constexpr int kThreads = 4;
  constexpr int kTasksEach = 500;
  std::atomic<bool> busy{false};
  bool overlapped = false;
  int ran = 0;  // deliberately unguarded: ThreadSanitizer flags any overlap
  int lastSeen[kThreads];
  std::fill(std::begin(lastSeen), std::end(lastSeen), -1);
  bool outOfOrder = false;

  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kTasksEach; ++i) {
        queue->async([&, t, i] {
          if (busy.exchange(true)) overlapped = true;
          if (lastSeen[t] != i - 1) outOfOrder = true;
          lastSeen[t] = i;
          ++ran;
          busy = false;
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  queue->sync([] {});

  EXPECT_EQ(ran, kThreads * kTasksEach);
  EXPECT_FALSE(overlapped);
  EXPECT_FALSE(outOfOrder);
}

TEST(GlibDispatchQueue, DestroyingASerialQueueDropsWaitingWorkWithoutWaitingForIt) {
  auto factory = makeGlibDispatchQueueFactory();
  auto queue = factory->makeSerialQueue("doomed");
  auto captured = std::make_shared<int>(0);
  queue->asyncAfter(1h, [captured] {});
  auto timer = queue->makeTimerSource([captured] {});
  timer->arm(1h);
  queue->sync([] {});

  queue.reset();
  timer->arm(1ms);  // a timer outliving its queue stays harmless
  timer.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(GlibDispatchQueue, SerialQueueMayBeReleasedByItsOwnTaskAndDropsWhatFollows) {
  // Promises something when it is destroyed, run or dropped alike.
  struct OnDestruction {
    std::function<void()> action;
    ~OnDestruction() { action(); }
  };
  auto holder = std::make_shared<std::shared_ptr<DispatchQueue>>(
      makeGlibDispatchQueueFactory()->makeSerialQueue("self-releasing"));
  DispatchQueue* queue = holder->get();
  std::promise<void> gate;
  std::promise<void> followerGone;
  auto followerRan = std::make_shared<std::atomic<bool>>(false);
  queue->async([open = gate.get_future().share()] { open.wait(); });
  // The last reference goes inside a task: the queue is destroyed on its own
  // thread, which must not try to join itself.
  queue->async([holder = std::move(holder)] { holder->reset(); });
  auto follower = std::make_shared<OnDestruction>([&] { followerGone.set_value(); });
  queue->async([followerRan, follower = std::move(follower)] { *followerRan = true; });
  gate.set_value();

  ASSERT_EQ(followerGone.get_future().wait_for(10s), std::future_status::ready);
  EXPECT_FALSE(*followerRan);
}

TEST(GlibDispatchQueue, DestroyingATimerWaitsForItsHandlerRunningOnAnotherThread) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("timers");
  std::promise<void> entered;
  std::promise<void> gate;
  auto timer = queue->makeTimerSource([&, open = gate.get_future().share()] {
    entered.set_value();
    open.wait();
  });
  timer->arm(0ms);
  entered.get_future().wait();

  std::promise<void> destroyed;
  std::thread destroyer([&] {
    timer.reset();
    destroyed.set_value();
  });
  // Whatever the handler uses may go once the destructor returns, so it must
  // not return while the handler is held at the gate.
  EXPECT_EQ(destroyed.get_future().wait_for(50ms), std::future_status::timeout);
  gate.set_value();
  destroyer.join();
}

}  // namespace
}  // namespace vicinix
