#pragma once

// What every DispatchQueue promises, run against each implementation. A
// harness type provides:
//   std::shared_ptr<DispatchQueue> queue, otherQueue;
//   bool runUntil(Journal&, std::function<bool()> done);  // drives time, bounded
//   Duration elapsed();                                    // since the harness began

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dispatch_queue.h"

namespace vicinix::conformance {

using namespace std::chrono_literals;

// What the tasks did, in order, from whichever thread they ran on.
class Journal {
 public:
  struct Entry {
    std::string what;
    Duration at;
  };

  void add(std::string what, Duration at = {}) {
    std::lock_guard lock(mutex_);
    entries_.push_back({std::move(what), at});
    changed_.notify_all();
  }
  std::vector<std::string> names() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& entry : entries_) names.push_back(entry.what);
    return names;
  }
  size_t count(const std::string& what) const {
    std::lock_guard lock(mutex_);
    return std::count_if(entries_.begin(), entries_.end(),
                         [&](const Entry& entry) { return entry.what == what; });
  }
  Duration firstAt(const std::string& what) const {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry.what == what) return entry.at;
    }
    return Duration::max();
  }
  // For harnesses whose queue runs on a thread of its own.
  bool waitFor(const std::function<bool()>& done, std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
      lock.unlock();
      bool result = done();
      lock.lock();
      return result;
    });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Entry> entries_;
};

template <class Harness>
class DispatchQueueConformance : public ::testing::Test {
 protected:
  bool runUntil(const std::function<bool()>& done) { return harness.runUntil(journal, done); }
  auto recorder(std::string what) {
    return [this, what] { journal.add(what, harness.elapsed()); };
  }

  Harness harness;
  Journal journal;
};

TYPED_TEST_SUITE_P(DispatchQueueConformance);

TYPED_TEST_P(DispatchQueueConformance, AsyncRunsTasksInPostingOrder) {
  DispatchQueue& queue = *this->harness.queue;
  // A queue with a thread of its own would otherwise start before all is posted.
  std::promise<void> allPosted;
  queue.async([posted = allPosted.get_future().share()] { posted.wait(); });
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i) {
    queue.async(this->recorder(std::to_string(i)));
    expected.push_back(std::to_string(i));
  }
  // Work a task posts goes behind everything already queued.
  queue.async([this, &queue] {
    queue.async(this->recorder("posted by a task"));
    this->journal.add("poster");
  });
  queue.async(this->recorder("last"));
  expected.insert(expected.end(), {"poster", "last", "posted by a task"});
  allPosted.set_value();

  ASSERT_TRUE(this->runUntil([&] { return this->journal.count("posted by a task") == 1; }));
  EXPECT_EQ(this->journal.names(), expected);
}

TYPED_TEST_P(DispatchQueueConformance, DelayedTasksRunByDeadlineThenPostingOrder) {
  DispatchQueue& queue = *this->harness.queue;
  Duration start = this->harness.elapsed();
  queue.async(this->recorder("now"));
  queue.asyncAfter(-5ms, this->recorder("negative delay"));
  queue.asyncAfter(40ms, this->recorder("40ms"));
  queue.asyncAfter(10ms, this->recorder("10ms first"));
  queue.asyncAfter(25ms, this->recorder("25ms"));
  queue.asyncAfter(10ms, this->recorder("10ms second"));

  ASSERT_TRUE(this->runUntil([&] { return this->journal.count("40ms") == 1; }));
  EXPECT_EQ(this->journal.names(), (std::vector<std::string>{"now", "negative delay", "10ms first",
                                                             "10ms second", "25ms", "40ms"}));
  EXPECT_GE(this->journal.firstAt("10ms first") - start, 10ms);
  EXPECT_GE(this->journal.firstAt("25ms") - start, 25ms);
  EXPECT_GE(this->journal.firstAt("40ms") - start, 40ms);
}

TYPED_TEST_P(DispatchQueueConformance, RearmedTimerFiresOnceAtTheLaterDeadlineAndCanFireAgain) {
  DispatchQueue& queue = *this->harness.queue;
  auto timer = queue.makeTimerSource(this->recorder("fired"));
  Duration start = this->harness.elapsed();
  timer->arm(10ms);
  timer->arm(60ms);
  queue.asyncAfter(150ms, this->recorder("later task"));

  ASSERT_TRUE(this->runUntil(
      [&] { return this->journal.count("later task") == 1 && this->journal.count("fired") > 0; }));
  EXPECT_EQ(this->journal.count("fired"), 1u);
  EXPECT_GE(this->journal.firstAt("fired") - start, 60ms);

  timer->arm(1ms);
  EXPECT_TRUE(this->runUntil([&] { return this->journal.count("fired") == 2; }));
}

TYPED_TEST_P(DispatchQueueConformance, DisarmedOrDestroyedTimersNeverFire) {
  DispatchQueue& queue = *this->harness.queue;
  auto disarmed = queue.makeTimerSource(this->recorder("disarmed fired"));
  auto destroyed = queue.makeTimerSource(this->recorder("destroyed fired"));
  auto destroyedOnQueue = queue.makeTimerSource(this->recorder("destroyed on queue fired"));
  disarmed->arm(20ms);
  destroyed->arm(20ms);
  destroyedOnQueue->arm(20ms);
  disarmed->disarm();
  destroyed.reset();
  queue.async([&] { destroyedOnQueue.reset(); });
  // Everything due before this task has had its chance by the time it runs.
  queue.asyncAfter(80ms, this->recorder("later task"));

  ASSERT_TRUE(this->runUntil([&] { return this->journal.count("later task") == 1; }));
  EXPECT_EQ(this->journal.names(), std::vector<std::string>{"later task"});
}

TYPED_TEST_P(DispatchQueueConformance, IsCurrentOnlyInsideItsOwnTasksAndTimers) {
  DispatchQueue& queue = *this->harness.queue;
  DispatchQueue& other = *this->harness.otherQueue;
  auto describe = [&](const std::string& where) {
    this->journal.add(where + (queue.isCurrent() ? " current" : " not current") +
                      (other.isCurrent() ? ", other current" : ""));
  };
  auto timer = queue.makeTimerSource([&] { describe("timer"); });
  EXPECT_FALSE(queue.isCurrent());
  queue.async([&] { describe("task"); });
  timer->arm(1ms);

  ASSERT_TRUE(this->runUntil([&] { return this->journal.names().size() == 2; }));
  EXPECT_EQ(this->journal.names(), (std::vector<std::string>{"task current", "timer current"}));
  EXPECT_FALSE(queue.isCurrent());
}

REGISTER_TYPED_TEST_SUITE_P(DispatchQueueConformance, AsyncRunsTasksInPostingOrder,
                            DelayedTasksRunByDeadlineThenPostingOrder,
                            RearmedTimerFiresOnceAtTheLaterDeadlineAndCanFireAgain,
                            DisarmedOrDestroyedTimersNeverFire,
                            IsCurrentOnlyInsideItsOwnTasksAndTimers);

}  // namespace vicinix::conformance
