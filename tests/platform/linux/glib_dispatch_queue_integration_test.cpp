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

TEST(GlibDispatchQueue, SerialQueueMayBeReleasedByItsOwnTask) {
  // The last reference sits in a task; dropping it destroys the queue on its
  // own thread, which must not try to join itself.
  struct LastReference {
    std::shared_ptr<DispatchQueue> queue;
    std::promise<void> released;
    ~LastReference() {
      queue.reset();
      released.set_value();
    }
  };
  auto holder = std::make_shared<LastReference>();
  holder->queue = makeGlibDispatchQueueFactory()->makeSerialQueue("self-releasing");
  auto released = holder->released.get_future();
  std::promise<void> gate;
  DispatchQueue* queue = holder->queue.get();
  queue->async([opened = gate.get_future().share()] { opened.wait(); });
  queue->async([holder] {});
  holder.reset();
  gate.set_value();
  EXPECT_EQ(released.wait_for(10s), std::future_status::ready);
}

TEST(GlibDispatchQueue, DestroyingATimerWaitsForItsHandlerRunningOnAnotherThread) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("timers");
  std::promise<void> entered;
  std::promise<void> gate;
  auto gateOpen = gate.get_future().share();
  bool handlerFinished = false;  // unguarded on purpose: the destructor must order it
  auto timer = queue->makeTimerSource([&] {
    entered.set_value();
    gateOpen.wait();
    handlerFinished = true;
  });
  timer->arm(0ms);
  entered.get_future().wait();

  bool finishedWhenDestroyed = false;
  std::thread destroyer([&] {
    timer.reset();
    finishedWhenDestroyed = handlerFinished;
  });
  gate.set_value();
  destroyer.join();
  EXPECT_TRUE(finishedWhenDestroyed);
}

}  // namespace
}  // namespace vicinix
