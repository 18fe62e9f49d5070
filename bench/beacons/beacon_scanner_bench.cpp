#include <benchmark/benchmark.h>

#include <cstdint>

#include "beacons/beacon_scanner.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/system_clock.h"

namespace vicinix::bench {
extern thread_local uint64_t allocations;  // counted by eddystone_bench.cpp's operator new
}  // namespace vicinix::bench

namespace vicinix {
namespace {

class IgnoringDelegate final : public BeaconScannerDelegate {
 public:
  void didFindBeacon(BeaconScanner&, const BeaconInfo&) override {}
  void didLoseBeacon(BeaconScanner&, const BeaconInfo&) override {}
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override {
    benchmark::DoNotOptimize(info.RSSI());
  }
  void didObserveURLBeacon(BeaconScanner&, const Url&, int) override {}
};

class SilentCentral final : public BluetoothCentral {
 public:
  BluetoothCentralState state() const override { return BluetoothCentralState::poweredOn; }
  void scanForPeripherals(const std::vector<std::string>&, bool) override {}
  void stopScan() override {}
};

ServiceDataMap uid(uint32_t instance) {
  return {{"FEAA",
           {0x00,
            0xEE,
            0xEC,
            0xED,
            0xD1,
            0xEB,
            0xEA,
            0xC0,
            0x4E,
            0x5D,
            0xEF,
            0xA0,
            0x00,
            0x00,
            static_cast<uint8_t>(instance >> 24),
            static_cast<uint8_t>(instance >> 16),
            static_cast<uint8_t>(instance >> 8),
            static_cast<uint8_t>(instance),
            0x00,
            0x00}}};
}

// The real GLib timers and clock, whose rearming is what a sighting costs;
// the main loop is never run, so no lost timer fires during a run. The
// scanner's reports are made from the benchmark thread, its queue idle.
struct Scene {
  FakeSdk env{[](Platform& platform) {
    platform.queues = makeGlibDispatchQueueFactory();
    platform.clock = makeSystemClock();
  }};
  BeaconScanner scanner;
  SilentCentral central;
  PeripheralIdentifier device{{0x42}};

  Scene() { scanner.setDelegate(std::make_shared<IgnoringDelegate>()); }
  void see(const ServiceDataMap& data) {
    scanner.centralManagerDidDiscover(central, device, data, -60);
  }
};

void report(benchmark::State& state, uint64_t before) {
  state.counters["allocs/adv"] = benchmark::Counter(
      static_cast<double>(bench::allocations - before), benchmark::Counter::kAvgIterations);
}

// Every advertisement of a beacon already in range: parse, look up, rearm.
void BM_BeaconScannerKnownBeacon(benchmark::State& state) {
  Scene scene;
  std::optional<ServiceDataMap> advertisement = uid(1);
  scene.see(*advertisement);
  uint64_t before = bench::allocations;
  for (auto _ : state) {
    scene.scanner.centralManagerDidDiscover(scene.central, scene.device, advertisement, -60);
  }
  report(state, before);
}
BENCHMARK(BM_BeaconScannerKnownBeacon);

// A beacon not in range: the delegate call, a new timer and a cache entry.
void BM_BeaconScannerFirstSighting(benchmark::State& state) {
  Scene scene;
  std::vector<std::optional<ServiceDataMap>> advertisements;
  for (int64_t i = 0; i < state.max_iterations; ++i) {
    advertisements.emplace_back(uid(static_cast<uint32_t>(i)));
  }
  size_t next = 0;
  uint64_t before = bench::allocations;
  for (auto _ : state) {
    scene.scanner.centralManagerDidDiscover(scene.central, scene.device, advertisements[next++],
                                            -60);
  }
  report(state, before);
}
BENCHMARK(BM_BeaconScannerFirstSighting)->Iterations(20000);

}  // namespace
}  // namespace vicinix
