#include "platform/fake/virtual_time.h"

namespace vicinix {

class VirtualQueue final : public DispatchQueue {
 public:
  VirtualQueue(std::weak_ptr<VirtualTime> time, std::string label)
      : time_(std::move(time)), label_(std::move(label)) {}

  void async(Task task) override { asyncAfter(Duration::zero(), std::move(task)); }
  void asyncAfter(Duration delay, Task task) override {
    if (auto time = time_.lock()) time->post(this, delay, std::move(task));
  }
  std::unique_ptr<TimerSource> makeTimerSource(Task handler) override;
  void sync(Task task) override { task(); }
  bool isCurrent() const override {
    auto time = time_.lock();
    return time && time->runningQueue() == this;
  }
  const std::string& label() const override { return label_; }

 private:
  std::weak_ptr<VirtualTime> time_;
  std::string label_;
};

namespace {

// Each arm() posts a task tagged with a generation; a later arm() or disarm()
// bumps the generation so the earlier task finds itself stale.
class VirtualTimerSource final : public TimerSource {
 public:
  VirtualTimerSource(VirtualQueue* queue, DispatchQueue::Task handler)
      : queue_(queue), state_(std::make_shared<State>()) {
    state_->handler = std::move(handler);
  }
  ~VirtualTimerSource() override {
    std::lock_guard lock(state_->mutex);
    state_->alive = false;
  }
  void arm(Duration delay) override {
    uint64_t generation;
    {
      std::lock_guard lock(state_->mutex);
      generation = ++state_->generation;
    }
    std::weak_ptr<State> weak = state_;
    queue_->asyncAfter(delay, [weak, generation] {
      auto state = weak.lock();
      if (!state) return;
      {
        std::lock_guard lock(state->mutex);
        if (!state->alive || state->generation != generation) return;
      }
      state->handler();
    });
  }
  void disarm() override {
    std::lock_guard lock(state_->mutex);
    ++state_->generation;
  }

 private:
  struct State {
    std::mutex mutex;
    uint64_t generation = 0;
    bool alive = true;
    DispatchQueue::Task handler;
  };
  VirtualQueue* queue_;
  std::shared_ptr<State> state_;
};

}  // namespace

std::unique_ptr<TimerSource> VirtualQueue::makeTimerSource(Task handler) {
  return std::make_unique<VirtualTimerSource>(this, std::move(handler));
}

VirtualTime::VirtualTime(Date start) : start_(start) {}

std::shared_ptr<VirtualTime> VirtualTime::create(Date start) {
  std::shared_ptr<VirtualTime> time(new VirtualTime(start));
  time->mainQueue_ = std::make_shared<VirtualQueue>(time, "main");
  return time;
}

Date VirtualTime::now() const {
  std::lock_guard lock(mutex_);
  return start_ + std::chrono::duration_cast<Date::duration>(elapsed_);
}

Uptime VirtualTime::uptime() const {
  return Uptime(std::chrono::duration_cast<Uptime::duration>(elapsed()));
}

Duration VirtualTime::elapsed() const {
  std::lock_guard lock(mutex_);
  return elapsed_;
}

std::shared_ptr<DispatchQueue> VirtualTime::mainQueue() {
  return mainQueue_;
}

std::shared_ptr<DispatchQueue> VirtualTime::makeSerialQueue(const std::string& label) {
  return std::make_shared<VirtualQueue>(weak_from_this(), label);
}

void VirtualTime::post(VirtualQueue* queue, Duration delay, DispatchQueue::Task task) {
  std::lock_guard lock(mutex_);
  if (delay < Duration::zero()) delay = Duration::zero();
  entries_.push(Entry{elapsed_ + delay, nextSequence_++, queue, std::move(task)});
}

bool VirtualTime::runNextDueBy(Duration limit) {
  Entry entry;
  {
    std::lock_guard lock(mutex_);
    if (entries_.empty() || entries_.top().due > limit) return false;
    entry = std::move(const_cast<Entry&>(entries_.top()));
    entries_.pop();
    if (entry.due > elapsed_) elapsed_ = entry.due;
  }
  const VirtualQueue* outer = running_;
  running_ = entry.queue;
  entry.task();
  running_ = outer;
  return true;
}

void VirtualTime::runUntilIdle() {
  while (runNextDueBy(elapsed())) {
  }
}

void VirtualTime::advance(Duration by) {
  Duration target = elapsed() + by;
  while (runNextDueBy(target)) {
  }
  std::lock_guard lock(mutex_);
  if (elapsed_ < target) elapsed_ = target;
}

bool VirtualTime::runAll(size_t maxTasks) {
  for (size_t ran = 0; ran < maxTasks; ++ran) {
    if (!runNextDueBy(Duration::max())) return true;
  }
  return pendingTasks() == 0;
}

void VirtualTime::setNow(Date date) {
  std::lock_guard lock(mutex_);
  start_ = date - std::chrono::duration_cast<Date::duration>(elapsed_);
}

size_t VirtualTime::pendingTasks() const {
  std::lock_guard lock(mutex_);
  return entries_.size();
}

}  // namespace vicinix
