#include "base/dispatch_timer.h"

#include "base/sdk.h"

namespace vicinix {

DispatchTimer::DispatchTimer(double delaySeconds, std::shared_ptr<DispatchQueue> queue, Block block)
    : timerBlock_(std::move(block)),
      queue_(std::move(queue)),
      delay_(delaySeconds),
      clock_(Sdk::current().clock()) {
  // The source only calls back while this timer exists: it is destroyed first.
  source_ = queue_->makeTimerSource([this] { wrappedBlock(); });
}

DispatchTimer::~DispatchTimer() {
  source_.reset();
}

std::unique_ptr<DispatchTimer> DispatchTimer::scheduledDispatchTimer(
    double delaySeconds, std::shared_ptr<DispatchQueue> queue, Block block) {
  auto timer = std::make_unique<DispatchTimer>(delaySeconds, std::move(queue), std::move(block));
  timer->schedule();
  return timer;
}

void DispatchTimer::schedule() {
  reschedule();
  std::lock_guard lock(mutex_);
  handlerInstalled_ = true;
  if (suspendCount_ > 0) --suspendCount_;
  armLocked();
}

void DispatchTimer::reschedule() {
  std::lock_guard lock(mutex_);
  if (isCancelled()) return;
  // Rounded, so a delay that was computed in nanoseconds comes back exact.
  // Uptime, not the wall clock: a date set by NTP must not fire or hold
  // every timer at once.
  deadline_ =
      clock_.uptime() + std::chrono::round<Uptime::duration>(std::chrono::duration<double>(delay_));
  armLocked();
}

void DispatchTimer::suspend() {
  std::lock_guard lock(mutex_);
  ++suspendCount_;
  source_->disarm();
}

void DispatchTimer::resume() {
  std::lock_guard lock(mutex_);
  if (suspendCount_ > 0) --suspendCount_;
  armLocked();
}

void DispatchTimer::cancel() {
  std::lock_guard lock(mutex_);
  cancelled_.store(true, std::memory_order_release);
  source_->disarm();
}

// Arms the source for the remaining time when the timer is live and running;
// a suspended timer whose deadline passed fires as soon as it is resumed.
void DispatchTimer::armLocked() {
  if (isCancelled() || suspendCount_ > 0 || !handlerInstalled_ || !deadline_) return;
  auto remaining = *deadline_ - clock_.uptime();
  if (remaining < Uptime::duration::zero()) remaining = Uptime::duration::zero();
  source_->arm(std::chrono::duration_cast<Duration>(remaining));
}

void DispatchTimer::wrappedBlock() {
  {
    std::lock_guard lock(mutex_);
    if (isCancelled()) return;
    cancelled_.store(true, std::memory_order_release);
    source_->disarm();
  }
  // The block may release the last reference to this timer, so it runs from a
  // local and nothing of the timer is touched afterwards. It fires only once.
  Block block = std::move(timerBlock_);
  block(*this);
}

}  // namespace vicinix
