#include <benchmark/benchmark.h>
#include <glib.h>

#include "platform/linux/glib_dispatch_queue.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

// Post, run on the queue's thread, wake the caller: the cost of one hop.
void BM_GlibSerialQueueSyncRoundTrip(benchmark::State& state) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("bench");
  for (auto _ : state) queue->sync([] {});
}
BENCHMARK(BM_GlibSerialQueueSyncRoundTrip);

// A burst of async() on the main queue, drained by iterating the default context.
void BM_GlibMainQueueAsyncBurst(benchmark::State& state) {
  auto main = makeGlibDispatchQueueFactory()->mainQueue();
  const int64_t burst = state.range(0);
  for (auto _ : state) {
    int64_t ran = 0;
    for (int64_t i = 0; i < burst; ++i) main->async([&ran] { ++ran; });
    while (ran < burst) g_main_context_iteration(nullptr, TRUE);
  }
  state.SetItemsProcessed(state.iterations() * burst);
}
BENCHMARK(BM_GlibMainQueueAsyncBurst)->Arg(1)->Arg(100)->Arg(10000);

// What every beacon sighting pays to push its lost timer back.
void BM_GlibTimerSourceRearm(benchmark::State& state) {
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("bench timers");
  auto timer = queue->makeTimerSource([] {});
  for (auto _ : state) timer->arm(15s);
  timer->disarm();
}
BENCHMARK(BM_GlibTimerSourceRearm);

// The same from several threads at once, as sightings arrive from the scanner.
void BM_GlibTimerSourceRearmContended(benchmark::State& state) {
  static std::shared_ptr<DispatchQueue> queue;
  static std::unique_ptr<TimerSource> timer;
  if (state.thread_index() == 0) {
    queue = makeGlibDispatchQueueFactory()->makeSerialQueue("bench contended");
    timer = queue->makeTimerSource([] {});
  }
  for (auto _ : state) timer->arm(15s);
  if (state.thread_index() == 0) {
    timer.reset();
    queue.reset();
  }
}
BENCHMARK(BM_GlibTimerSourceRearmContended)->Threads(2)->Threads(4);

}  // namespace
}  // namespace vicinix
