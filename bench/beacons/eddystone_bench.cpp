#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>

#include "beacons/beacon_info.h"
#include "beacons/eddystone_telemetry.h"

// Counts this thread's allocations so each benchmark can report them per
// frame. Replacing the global operator new reaches the whole bench binary,
// which is why it only counts and otherwise behaves like the default; the
// other benchmarks read the same counter.
namespace vicinix::bench {
thread_local uint64_t allocations = 0;
}  // namespace vicinix::bench
using vicinix::bench::allocations;

// Out of line, as are the deletes: inlined, GCC pairs malloc() and free() with
// the new and delete expressions around them and reports mismatches that are not.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace vicinix {
namespace {

const ServiceDataMap kUID = {
    {"FEAA", {0x00, 0xEC, 0xED, 0xD1, 0xEB, 0xEA, 0xC0, 0x4E, 0x5D, 0xEF,
              0xA0, 0x17, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0x00, 0x00}}};
const ServiceDataMap kURL = {
    {"FEAA",
     {0x10, 0xEB, 0x03, 'v', 'i', 'c', 'i', 'n', 'i', 'x', 0x07, '/', 'o', 'f', 'f', 'e', 'r'}}};
const ServiceDataMap kTLM = {
    {"FEAA", {0x20, 0x00, 0x0B, 0xB8, 0x18, 0x80, 0x00, 0x01, 0x02, 0x03, 0x00, 0x00, 0x10, 0x00}}};

// Runs `parse` per iteration and reports allocations per frame beside the time.
template <class Parse>
void measure(benchmark::State& state, Parse parse) {
  uint64_t before = allocations;
  for (auto _ : state) benchmark::DoNotOptimize(parse());
  state.counters["allocs/frame"] = benchmark::Counter(static_cast<double>(allocations - before),
                                                      benchmark::Counter::kAvgIterations);
}

// What the scanner does for every advertisement of a UID beacon: classify, then parse.
void BM_EddystoneUIDFrame(benchmark::State& state) {
  measure(state, [] {
    auto frame = BeaconInfo::eddystoneServiceData(kUID);
    bool uid = BeaconInfo::frameTypeForFrame(frame) == BeaconInfo::EddystoneFrameType::UIDFrameType;
    return uid ? BeaconInfo::beaconInfoForUIDFrameData(frame, nullptr, -60) : std::nullopt;
  });
}
BENCHMARK(BM_EddystoneUIDFrame);

// The scanner's cache key for a sighting.
void BM_EddystoneUIDDescription(benchmark::State& state) {
  auto info = *BeaconInfo::beaconInfoForUIDFrameData(BeaconInfo::eddystoneServiceData(kUID), {}, 0);
  measure(state, [&] { return info.beaconID().description(); });
}
BENCHMARK(BM_EddystoneUIDDescription);

void BM_EddystoneURLFrame(benchmark::State& state) {
  measure(state,
          [] { return BeaconInfo::parseURLFromFrame(BeaconInfo::eddystoneServiceData(kURL)); });
}
BENCHMARK(BM_EddystoneURLFrame);

// Kept opaque per device until the next sighting: one copy per frame.
void BM_EddystoneTLMFrameCapture(benchmark::State& state) {
  measure(state, [] { return BeaconInfo::telemetryDataForFrame(kTLM); });
}
BENCHMARK(BM_EddystoneTLMFrameCapture);

void BM_EddystoneTLMFrameDecode(benchmark::State& state) {
  measure(state, [] { return EddystoneTelemetry::decode(BeaconInfo::eddystoneServiceData(kTLM)); });
}
BENCHMARK(BM_EddystoneTLMFrameDecode);

}  // namespace
}  // namespace vicinix
