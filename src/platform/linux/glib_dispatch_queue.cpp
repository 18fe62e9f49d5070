#include "platform/linux/glib_dispatch_queue.h"

#include <glib.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <vector>

#include "base/fatal.h"

namespace vicinix {
namespace {

using Task = DispatchQueue::Task;

// Far enough to mean "never", near enough that GLib's own timeout arithmetic
// (ready time minus now plus 999) cannot overflow.
constexpr int64_t kLatestDeadline = INT64_MAX / 2;

// The queue whose task or timer handler this thread is running, for isCurrent().
thread_local const void* tRunningQueue = nullptr;

class RunningQueueScope {
 public:
  explicit RunningQueueScope(const void* queue) : outer_(tRunningQueue) { tRunningQueue = queue; }
  ~RunningQueueScope() { tRunningQueue = outer_; }
  RunningQueueScope(const RunningQueueScope&) = delete;
  RunningQueueScope& operator=(const RunningQueueScope&) = delete;

 private:
  const void* outer_;
};

// In g_get_monotonic_time() microseconds, which truncates the same clock: the
// deadline is computed from nanoseconds and rounded up, so nothing runs before
// its full delay has passed.
int64_t deadlineAfter(Duration delay) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  int64_t nowNanos = int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
  int64_t delayNanos = std::max<int64_t>(delay.count(), 0);
  // Split so that Duration::max() cannot overflow.
  int64_t wholeMicros = nowNanos / 1000 + delayNanos / 1000;
  int64_t restNanos = nowNanos % 1000 + delayNanos % 1000;
  return std::min(wholeMicros + (restNanos + 999) / 1000, kLatestDeadline);
}

// The GSource structs are allocated by GLib; our pointer in them is written on
// the creating thread and read by whichever thread dispatches. GLib's own locks
// order that, but ThreadSanitizer cannot see them, so the hand-over is atomic.
template <class T>
void publish(T*& slot, T* value) {
  std::atomic_ref(slot).store(value, std::memory_order_release);
}
template <class T>
T* published(T*& slot) {
  return std::atomic_ref(slot).load(std::memory_order_acquire);
}

// The state of one queue that its GSource, its timers and the DispatchQueue
// object share. GLib may still hold the source for a moment after the queue
// object is gone, so this lives as long as the last of them.
struct QueueCore {
  struct Entry {
    int64_t deadline;
    uint64_t sequence;
    mutable Task task;
    bool operator>(const Entry& other) const {
      return deadline != other.deadline ? deadline > other.deadline : sequence > other.sequence;
    }
  };

  std::mutex mutex;
  // Both containers are stamped under the mutex, so `ready` is already in
  // (deadline, sequence) order and merging it with `delayed` keeps posting order.
  std::deque<Entry> ready;
  std::priority_queue<Entry, std::vector<Entry>, std::greater<>> delayed;
  uint64_t nextSequence = 0;
  int64_t readyTime = -1;  // what the GSource was last told
  GSource* source = nullptr;
  std::atomic<bool> closed{false};

  void post(Duration delay, Task task) {
    std::lock_guard lock(mutex);
    if (delay <= Duration::zero()) {
      ready.push_back(Entry{g_get_monotonic_time(), nextSequence++, std::move(task)});
    } else {
      delayed.push(Entry{deadlineAfter(delay), nextSequence++, std::move(task)});
    }
    rearm();
  }

  // Moves every task due now into `batch`, earliest deadline first.
  void takeDue(std::vector<Task>& batch) {
    std::lock_guard lock(mutex);
    int64_t now = g_get_monotonic_time();
    for (;;) {
      bool heapFirst = !delayed.empty() && delayed.top().deadline <= now &&
                       (ready.empty() || ready.front() > delayed.top());
      if (heapFirst) {
        batch.push_back(std::move(delayed.top().task));
        delayed.pop();
      } else if (!ready.empty()) {
        batch.push_back(std::move(ready.front().task));
        ready.pop_front();
      } else {
        break;
      }
    }
  }

  // Caller holds the mutex. Only talks to GLib when the wake-up time changes,
  // which keeps async() on a busy queue free of the context lock.
  void rearm() {
    int64_t want = !ready.empty() ? 0 : !delayed.empty() ? delayed.top().deadline : -1;
    if (want == readyTime) return;
    readyTime = want;
    g_source_set_ready_time(source, want);
  }

  // Dispatching does not reset a GSource's ready time: a passed one would
  // keep the context spinning.
  void rearmAfterBatch() {
    std::lock_guard lock(mutex);
    rearm();
  }
};

struct TaskGSource {
  GSource base;
  std::shared_ptr<QueueCore>* core;
};

gboolean dispatchTasks(GSource* source, GSourceFunc, gpointer) {
  std::shared_ptr<QueueCore> core = *published(reinterpret_cast<TaskGSource*>(source)->core);
  std::vector<Task> batch;
  core->takeDue(batch);
  {
    RunningQueueScope scope(core.get());
    for (Task& slot : batch) {
      // A task may destroy its own queue; what follows it is dropped.
      if (core->closed.load(std::memory_order_acquire)) break;
      Task task = std::move(slot);
      task();
    }
  }
  batch.clear();
  core->rearmAfterBatch();
  return G_SOURCE_CONTINUE;
}

void finalizeTasks(GSource* source) {
  delete published(reinterpret_cast<TaskGSource*>(source)->core);
}

GSourceFuncs kTaskSourceFuncs = {nullptr, nullptr, dispatchTasks, finalizeTasks, nullptr, nullptr};

// Shared by a timer and its GSource. The handler is only called while `alive`,
// and the destructor waits out a handler already running on another thread.
struct TimerCore {
  std::mutex mutex;
  std::condition_variable handlerReturned;
  int64_t deadline = -1;
  int64_t readyTime = -1;  // what the GSource was last told; may be earlier than `deadline`
  bool alive = true;
  std::thread::id firingThread;
  GSource* source = nullptr;
  Task handler;
  std::shared_ptr<QueueCore> queue;

  // Caller holds the mutex.
  void tell(int64_t time) {
    if (time == readyTime) return;
    readyTime = time;
    g_source_set_ready_time(source, time);
  }
};

struct TimerGSource {
  GSource base;
  std::shared_ptr<TimerCore>* core;
};

gboolean dispatchTimer(GSource* source, GSourceFunc, gpointer) {
  std::shared_ptr<TimerCore> core = *published(reinterpret_cast<TimerGSource*>(source)->core);
  {
    std::lock_guard lock(core->mutex);
    bool due = core->alive && core->deadline >= 0 && core->deadline <= g_get_monotonic_time() &&
               !core->queue->closed.load(std::memory_order_acquire);
    if (!due) {
      // Disarmed or moved later since GLib was last told: sleep on.
      core->tell(core->alive ? core->deadline : -1);
      return G_SOURCE_CONTINUE;
    }
    core->deadline = -1;
    core->tell(-1);
    core->firingThread = std::this_thread::get_id();
  }
  {
    RunningQueueScope scope(core->queue.get());
    core->handler();
  }
  std::lock_guard lock(core->mutex);
  core->firingThread = {};
  core->handlerReturned.notify_all();
  return G_SOURCE_CONTINUE;
}

void finalizeTimer(GSource* source) {
  delete published(reinterpret_cast<TimerGSource*>(source)->core);
}

GSourceFuncs kTimerSourceFuncs = {nullptr, nullptr, dispatchTimer, finalizeTimer, nullptr, nullptr};

// One GSource for the timer's whole life: arming moves its ready time, which
// is thread-safe and allocates nothing. Pushing a deadline later (what every
// beacon sighting does to its lost timer) does not even wake the context: it
// wakes at the earlier time, finds nothing due and sleeps on.
class GlibTimerSource final : public TimerSource {
 public:
  GlibTimerSource(std::shared_ptr<QueueCore> queue, GMainContext* context, Task handler)
      : core_(std::make_shared<TimerCore>()), context_(g_main_context_ref(context)) {
    core_->handler = std::move(handler);
    core_->queue = std::move(queue);
    GSource* source = g_source_new(&kTimerSourceFuncs, sizeof(TimerGSource));
    core_->source = source;
    publish(reinterpret_cast<TimerGSource*>(source)->core, new std::shared_ptr<TimerCore>(core_));
    g_source_set_name(source, "vicinix timer");
    g_source_attach(source, context_);
  }

  ~GlibTimerSource() override {
    {
      std::unique_lock lock(core_->mutex);
      core_->alive = false;
      core_->deadline = -1;
      // Destroyed from inside its own handler is fine; from elsewhere, the
      // handler's captures must outlive the call that is running now.
      core_->handlerReturned.wait(lock, [&] {
        return core_->firingThread == std::thread::id() ||
               core_->firingThread == std::this_thread::get_id();
      });
    }
    g_source_destroy(core_->source);
    g_source_unref(core_->source);
    g_main_context_unref(context_);
  }

  // Any thread.
  void arm(Duration delay) override {
    std::lock_guard lock(core_->mutex);
    core_->deadline = deadlineAfter(delay);
    if (core_->readyTime < 0 || core_->readyTime > core_->deadline) core_->tell(core_->deadline);
  }

  // Any thread. The context may still wake once at the old deadline.
  void disarm() override {
    std::lock_guard lock(core_->mutex);
    core_->deadline = -1;
  }

 private:
  std::shared_ptr<TimerCore> core_;
  GMainContext* context_;
};

// Hands a sync() caller back when its task has run, or when the task was
// dropped with its queue, so the caller cannot wait forever.
class SyncSignal {
 public:
  ~SyncSignal() { finish(); }
  void finish() {
    std::lock_guard lock(mutex_);
    done_ = true;
    finished_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [&] { return done_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable finished_;
  bool done_ = false;
};

// Spins a serial queue's private context until `stop`. The context is the
// thread default, so GIO calls made from its tasks report back to it.
void spinContext(GMainContext* context, std::shared_ptr<std::atomic<bool>> stop, std::string name) {
  name.resize(std::min<size_t>(name.size(), 15));  // the kernel's limit for thread names
  pthread_setname_np(pthread_self(), name.c_str());
  g_main_context_push_thread_default(context);
  // Our own loop rather than GMainLoop: g_main_loop_quit() before
  // g_main_loop_run() is lost, a stop flag plus wake-up is not.
  while (!stop->load(std::memory_order_acquire)) g_main_context_iteration(context, TRUE);
  g_main_context_pop_thread_default(context);
  g_main_context_unref(context);
}

class GlibQueue final : public DispatchQueue {
 public:
  // Adopts one reference to `context`. With `ownThread` a new thread spins it.
  GlibQueue(GMainContext* context, std::string label, bool ownThread)
      : context_(context), label_(std::move(label)), core_(std::make_shared<QueueCore>()) {
    source_ = g_source_new(&kTaskSourceFuncs, sizeof(TaskGSource));
    core_->source = source_;
    publish(reinterpret_cast<TaskGSource*>(source_)->core, new std::shared_ptr<QueueCore>(core_));
    g_source_set_name(source_, label_.c_str());
    g_source_attach(source_, context_);
    if (ownThread) {
      thread_ = std::thread(spinContext, g_main_context_ref(context_), stop_, label_);
    }
  }

  ~GlibQueue() override {
    core_->closed.store(true, std::memory_order_release);
    if (thread_.joinable()) {
      stop_->store(true, std::memory_order_release);
      g_main_context_wakeup(context_);
      // The last reference may go away inside one of our own tasks.
      if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
      } else {
        thread_.join();
      }
    }
    g_source_destroy(source_);
    g_source_unref(source_);
    g_main_context_unref(context_);
    // Timers may keep the core alive; what the dropped tasks hold should not be.
    std::deque<QueueCore::Entry> ready;
    decltype(core_->delayed) delayed;
    {
      std::lock_guard lock(core_->mutex);
      ready.swap(core_->ready);
      delayed.swap(core_->delayed);
    }
  }

  void async(Task task) override { core_->post(Duration::zero(), std::move(task)); }

  void asyncAfter(Duration delay, Task task) override { core_->post(delay, std::move(task)); }

  std::unique_ptr<TimerSource> makeTimerSource(Task handler) override {
    return std::make_unique<GlibTimerSource>(core_, context_, std::move(handler));
  }

  // Waits on the calling thread. From the thread that runs this queue's
  // context it could only deadlock, so that is a programming error.
  void sync(Task task) override {
    if (isCurrent() || g_main_context_is_owner(context_)) {
      fatal("sync() on queue \"" + label_ + "\" from the thread that runs it");
    }
    auto signal = std::make_shared<SyncSignal>();
    async([task = std::move(task), signal] {
      task();
      signal->finish();
    });
    signal->wait();
  }

  bool isCurrent() const override { return tRunningQueue == core_.get(); }

  const std::string& label() const override { return label_; }

 private:
  GMainContext* context_;
  std::string label_;
  std::shared_ptr<QueueCore> core_;
  GSource* source_ = nullptr;
  std::shared_ptr<std::atomic<bool>> stop_ = std::make_shared<std::atomic<bool>>(false);
  std::thread thread_;
};

class GlibQueueFactory final : public DispatchQueueFactory {
 public:
  std::shared_ptr<DispatchQueue> mainQueue() override {
    std::lock_guard lock(mutex_);
    if (!main_) {
      main_ =
          std::make_shared<GlibQueue>(g_main_context_ref(g_main_context_default()), "main", false);
    }
    return main_;
  }

  std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label) override {
    return std::make_shared<GlibQueue>(g_main_context_new(), label, true);
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<DispatchQueue> main_;
};

}  // namespace

std::shared_ptr<DispatchQueueFactory> makeGlibDispatchQueueFactory() {
  return std::make_shared<GlibQueueFactory>();
}

}  // namespace vicinix
