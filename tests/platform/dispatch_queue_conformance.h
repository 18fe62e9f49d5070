#pragma once

// What every DispatchQueue promises, run against each implementation. A
// harness type provides:
//   std::shared_ptr<DispatchQueue> queue, otherQueue;
//   bool runUntil(std::function<bool()> done);  // drives time, bounded
//   Duration elapsed();                         // since the harness began

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/dispatch_queue.h"

namespace vicinix::conformance {

using namespace std::chrono_literals;

template <class Harness>
class DispatchQueueConformance : public ::testing::Test {
 protected:
  // A task noting `what`, or what it found wrong: it ran before `notBefore`
  // had passed, or outside this queue as far as isCurrent() can tell.
  DispatchQueue::Task recorder(std::string what, Duration notBefore = {}) {
    return [this, what, due = harness.elapsed() + notBefore] {
      bool early = harness.elapsed() < due;
      bool current = queue.isCurrent() && !harness.otherQueue->isCurrent();
      std::lock_guard lock(mutex);
      journal.push_back(what + (early ? " (early)" : "") + (current ? "" : " (not current)"));
    };
  }
  std::vector<std::string> seen() {
    std::lock_guard lock(mutex);
    return journal;
  }
  bool runUntilSeen(const std::string& what, size_t times = 1) {
    return harness.runUntil([&] { return size_t(std::ranges::count(seen(), what)) >= times; });
  }

  Harness harness;
  DispatchQueue& queue = *harness.queue;
  std::mutex mutex;
  std::vector<std::string> journal;
};

TYPED_TEST_SUITE_P(DispatchQueueConformance);

TYPED_TEST_P(DispatchQueueConformance, AsyncRunsTasksInPostingOrder) {
  // A queue with a thread of its own would otherwise start before all is posted.
  std::promise<void> allPosted;
  this->queue.async([posted = allPosted.get_future().share()] { posted.wait(); });
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i) {
    expected.push_back(std::to_string(i));
    this->queue.async(this->recorder(expected.back()));
  }
  // Work a task posts goes behind everything already queued.
  this->queue.async([this] { this->queue.async(this->recorder("posted by a task")); });
  this->queue.async(this->recorder("last"));
  expected.insert(expected.end(), {"last", "posted by a task"});
  EXPECT_FALSE(this->queue.isCurrent());
  allPosted.set_value();

  ASSERT_TRUE(this->runUntilSeen("posted by a task"));
  EXPECT_EQ(this->seen(), expected);
}

TYPED_TEST_P(DispatchQueueConformance, DelayedTasksRunByDeadlineThenPostingOrder) {
  this->queue.async(this->recorder("now"));
  for (auto [delay, what] : {std::pair{-5ms, "negative delay"},
                             {40ms, "40ms"},
                             {10ms, "10ms first"},
                             {25ms, "25ms"},
                             {10ms, "10ms second"}}) {
    this->queue.asyncAfter(delay, this->recorder(what, delay));
  }
  ASSERT_TRUE(this->runUntilSeen("40ms"));
  EXPECT_EQ(this->seen(), (std::vector<std::string>{"now", "negative delay", "10ms first",
                                                    "10ms second", "25ms", "40ms"}));
}

TYPED_TEST_P(DispatchQueueConformance, RearmedTimerFiresOnceAtTheLaterDeadlineAndCanFireAgain) {
  auto timer = this->queue.makeTimerSource(this->recorder("fired", 60ms));
  timer->arm(10ms);
  timer->arm(60ms);
  this->queue.asyncAfter(150ms, this->recorder("later task"));
  ASSERT_TRUE(this->runUntilSeen("later task"));
  EXPECT_EQ(this->seen(), (std::vector<std::string>{"fired", "later task"}));

  timer->arm(1ms);
  EXPECT_TRUE(this->runUntilSeen("fired", 2));
}

TYPED_TEST_P(DispatchQueueConformance, DisarmedOrDestroyedTimersNeverFire) {
  auto disarmed = this->queue.makeTimerSource(this->recorder("disarmed fired"));
  auto destroyed = this->queue.makeTimerSource(this->recorder("destroyed fired"));
  auto destroyedOnQueue = this->queue.makeTimerSource(this->recorder("destroyed on queue fired"));
  for (auto* timer : {&disarmed, &destroyed, &destroyedOnQueue}) (*timer)->arm(20ms);
  disarmed->disarm();
  destroyed.reset();
  this->queue.async([&] { destroyedOnQueue.reset(); });
  // Everything due before this task has had its chance by the time it runs.
  this->queue.asyncAfter(80ms, this->recorder("later task"));

  ASSERT_TRUE(this->runUntilSeen("later task"));
  EXPECT_EQ(this->seen(), std::vector<std::string>{"later task"});
}

TYPED_TEST_P(DispatchQueueConformance, TasksFromOtherThreadsRunOnTheQueueInEachThreadsOrder) {
  constexpr int kThreads = 4, kTasksEach = 200;
  // Deliberately unguarded: ThreadSanitizer flags tasks that overlap.
  std::vector<int> next(kThreads, 0);
  int misplaced = 0;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kTasksEach; ++i) {
        this->queue.async([&, t, i, poster = std::this_thread::get_id()] {
          bool inPlace = next[t]++ == i && std::this_thread::get_id() != poster;
          misplaced += !inPlace || !this->queue.isCurrent();
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  this->queue.async(this->recorder("done"));

  ASSERT_TRUE(this->runUntilSeen("done"));
  EXPECT_EQ(next, std::vector<int>(kThreads, kTasksEach));
  EXPECT_EQ(misplaced, 0);
}

REGISTER_TYPED_TEST_SUITE_P(DispatchQueueConformance, AsyncRunsTasksInPostingOrder,
                            DelayedTasksRunByDeadlineThenPostingOrder,
                            RearmedTimerFiresOnceAtTheLaterDeadlineAndCanFireAgain,
                            DisarmedOrDestroyedTimersNeverFire,
                            TasksFromOtherThreadsRunOnTheQueueInEachThreadsOrder);

}  // namespace vicinix::conformance
