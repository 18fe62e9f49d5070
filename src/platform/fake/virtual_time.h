#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <queue>
#include <vector>

#include "platform/clock.h"
#include "platform/dispatch_queue.h"

namespace vicinix {

// Virtual time for tests: a manual clock and every queue's tasks on one
// timeline, run on the calling thread. Nothing happens until the test calls
// runUntilIdle() or advance(), so a 15 s timer or midnight are exact and instant.
class VirtualTime final : public Clock,
                          public DispatchQueueFactory,
                          public std::enable_shared_from_this<VirtualTime> {
 public:
  static std::shared_ptr<VirtualTime> create(Date start);

  Date now() const override;
  // The time elapsed on this timeline: advance() moves it with the wall
  // clock, setNow() leaves it where it is.
  Uptime uptime() const override;
  std::shared_ptr<DispatchQueue> mainQueue() override;
  std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label) override;

  // Runs every task that is due now, including those they post for now.
  void runUntilIdle();
  // Moves time forward, running each task at its own deadline in order.
  void advance(Duration by);
  // Runs every pending task, jumping time to each deadline. Returns false when
  // `maxTasks` ran and work remained (a task that keeps rescheduling itself).
  bool runAll(size_t maxTasks = 1000000);
  // Moves the wall clock without running anything (e.g. to just before
  // midnight, or an NTP step); uptime() and the queues' deadlines stay put.
  void setNow(Date date);
  size_t pendingTasks() const;
  Duration elapsed() const;

  // Used by the queues of this timeline.
  void post(class VirtualQueue* queue, Duration delay, DispatchQueue::Task task);
  const VirtualQueue* runningQueue() const { return running_; }

 private:
  explicit VirtualTime(Date start);
  bool runNextDueBy(Duration limit);

  struct Entry {
    Duration due;
    uint64_t sequence;
    VirtualQueue* queue;
    DispatchQueue::Task task;
    bool operator>(const Entry& other) const {
      return due != other.due ? due > other.due : sequence > other.sequence;
    }
  };

  mutable std::mutex mutex_;
  Date start_;
  Duration elapsed_{0};
  uint64_t nextSequence_ = 0;
  std::priority_queue<Entry, std::vector<Entry>, std::greater<>> entries_;
  const VirtualQueue* running_ = nullptr;
  std::shared_ptr<DispatchQueue> mainQueue_;
};

}  // namespace vicinix
