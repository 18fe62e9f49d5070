#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/clock.h"
#include "platform/dispatch_queue.h"

namespace vicinix {

// A one-shot timer that runs a block on a queue some time after it was
// (re)scheduled. It fires at most once; after firing or cancel() it is spent.
// reschedule() and cancel() may be called from any thread.
class DispatchTimer {
 public:
  using Block = std::function<void(DispatchTimer&)>;

  DispatchTimer() = delete;
  // Creates the timer, suspended and without a deadline.
  DispatchTimer(double delaySeconds, std::shared_ptr<DispatchQueue> queue, Block block);
  ~DispatchTimer();

  static std::unique_ptr<DispatchTimer> scheduledDispatchTimer(double delaySeconds,
                                                               std::shared_ptr<DispatchQueue> queue,
                                                               Block block);

  void schedule();
  // Moves the one firing to `delay` from now.
  void reschedule();
  void suspend();
  void resume();
  // After cancel() returns, a firing that has not started never runs the block.
  void cancel();
  bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }

 private:
  void wrappedBlock();
  void armLocked();

  Block timerBlock_;
  std::shared_ptr<DispatchQueue> queue_;
  double delay_;
  Clock& clock_;
  std::unique_ptr<TimerSource> source_;
  std::atomic<bool> cancelled_{false};

  std::mutex mutex_;
  int suspendCount_ = 1;  // a new source is suspended until schedule()
  bool handlerInstalled_ = false;
  std::optional<Uptime> deadline_;
};

}  // namespace vicinix
