#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vicinix {

using Duration = std::chrono::nanoseconds;

// A one-shot deadline on a queue. Moving the deadline does not allocate, which
// keeps per-sighting timer work cheap.
class TimerSource {
 public:
  virtual ~TimerSource() = default;
  // Arms one firing `delay` from now, replacing any earlier deadline. Any thread.
  virtual void arm(Duration delay) = 0;
  // Disarms. A firing that has not started yet will not start. Any thread.
  virtual void disarm() = 0;
};

// A serial task queue. Tasks posted with async() run one at a time, in the
// order they were posted; delayed tasks with equal deadlines keep posting order.
class DispatchQueue {
 public:
  using Task = std::function<void()>;
  virtual ~DispatchQueue() = default;

  // Runs `task` on this queue after every task posted before it. Any thread.
  virtual void async(Task task) = 0;
  // Runs `task` on this queue no earlier than `delay` from now. Any thread.
  virtual void asyncAfter(Duration delay, Task task) = 0;
  // A disarmed timer whose firings run `handler` on this queue. The handler is
  // never called after the TimerSource is destroyed.
  virtual std::unique_ptr<TimerSource> makeTimerSource(Task handler) = 0;
  // Runs `task` on this queue and returns when it has run. Must not be called
  // from a task of this queue.
  virtual void sync(Task task) = 0;
  // True while the caller runs inside a task of this queue (for debug checks).
  virtual bool isCurrent() const = 0;
  virtual const std::string& label() const = 0;
};

// Where queues come from: the one main queue and any number of serial queues.
class DispatchQueueFactory {
 public:
  virtual ~DispatchQueueFactory() = default;
  virtual std::shared_ptr<DispatchQueue> mainQueue() = 0;
  virtual std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label) = 0;
};

}  // namespace vicinix
