#include <benchmark/benchmark.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>

#include "beacons/beacon_scanner.h"
#include "capture_file_writer.h"
#include "hci_packets.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/system_clock.h"

namespace vicinix::bench {
extern thread_local uint64_t allocations;  // counted by eddystone_bench.cpp's operator new
}  // namespace vicinix::bench

namespace vicinix {
namespace {

using tools::Bytes;

constexpr int kBeacons = 10'000;
constexpr int kSeconds = 10;  // each beacon advertises once a second, one in ten telemetry

class CountingDelegate final : public BeaconScannerDelegate {
 public:
  void didFindBeacon(BeaconScanner&, const BeaconInfo&) override { ++finds; }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo&) override { ++losses; }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override {
    benchmark::DoNotOptimize(info.RSSI());
  }
  void didObserveURLBeacon(BeaconScanner&, const Url&, int) override {}
  int64_t finds = 0, losses = 0;
};

std::array<uint8_t, 6> instanceOf(int beacon) {
  return {0, 0, 0, 0, static_cast<uint8_t>(beacon >> 8), static_cast<uint8_t>(beacon)};
}

// A crowded hall: kBeacons beacons, their advertisements spread evenly over each second.
struct CrowdCapture {
  std::filesystem::path path = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vicinix-bench-XXXXXX").string();
    int fd = mkstemp(pattern.data());
    if (fd >= 0) close(fd);
    return std::filesystem::path(pattern);
  }();
  int64_t start = 1'709'285'400'000'000;
  int64_t advertisements = 0;

  CrowdCapture() {
    tools::CaptureFileWriter writer(path, tools::CaptureFileWriter::Format::BtsnoopMonitor);
    const std::array<uint8_t, 10> nameSpace = {0xed, 0xd1, 0xeb, 0xea, 0xc0,
                                               0x4e, 0x5d, 0xef, 0xa0, 0x17};
    for (int second = 0; second < kSeconds; ++second) {
      for (int beacon = 0; beacon < kBeacons; ++beacon) {
        tools::Advertisement advertisement{
            .address = {0xC0, 0, 0, 0, static_cast<uint8_t>(beacon >> 8),
                        static_cast<uint8_t>(beacon)},
            .RSSI = static_cast<int8_t>(-50 - beacon % 40),
            .data = tools::eddystoneAdvertisement(
                (second + beacon) % 10 == 9 ? tools::telemetryFrame(3000, 21.5, second, second * 10)
                                            : tools::uidFrame(-20, nameSpace, instanceOf(beacon)))};
        writer.event(
            start + second * 1'000'000 + beacon * 1'000'000 / kBeacons,
            tools::legacyAdvertisingReport(advertisement, tools::LegacyEvent::NonConnectable));
        ++advertisements;
      }
    }
  }
  ~CrowdCapture() { std::filesystem::remove(path); }
};

// The whole capture through the central and the real scanner on virtual
// time, lost timers included: how fast `vicinix-host replay` gets through
// a busy field capture.
void BM_CaptureReplayCrowd(benchmark::State& state) {
  static CrowdCapture capture;
  int64_t records = 0;
  for (auto _ : state) {
    auto progress = std::make_shared<CaptureReplayCentral::Progress>();
    FakeSdk env(FakeSdk::Options{
        .start = Date(std::chrono::microseconds(capture.start)),
        .appData = std::nullopt,
        .customize =
            [&](Platform& platform) {
              platform.bluetooth = CaptureReplayCentral::factory(
                  {.path = capture.path, .clock = platform.clock, .log = platform.log}, progress);
            },
    });
    auto delegate = std::make_shared<CountingDelegate>();
    {
      BeaconScanner scanner;
      scanner.setDelegate(delegate);
      scanner.startScanning();
      while (!env.time->runAll()) {
      }
    }
    if (delegate->finds != kBeacons || delegate->losses != kBeacons) {
      state.SkipWithError("every beacon should be found and lost once");
      break;
    }
    records += static_cast<int64_t>(progress->counts().records);
  }
  state.counters["adverts/s"] =
      benchmark::Counter(static_cast<double>(capture.advertisements * state.iterations()),
                         benchmark::Counter::kIsRate);
  state.counters["records/s"] =
      benchmark::Counter(static_cast<double>(records), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CaptureReplayCrowd)->Unit(benchmark::kMillisecond)->Iterations(3);

class SilentCentral final : public BluetoothCentral {
 public:
  BluetoothCentralState state() const override { return BluetoothCentralState::poweredOn; }
  void scanForPeripherals(const std::vector<std::string>&, bool) override {}
  void stopScan() override {}
};

// What the scanner keeps per beacon in range: its cache entry, the first
// sighting and the lost timer with its GLib source. Heap in use before and
// after first sightings of kBeacons beacons, on the real queues and clock.
void BM_BeaconScannerMemoryPerBeacon(benchmark::State& state) {
  std::vector<std::optional<ServiceDataMap>> advertisements;
  for (int beacon = 0; beacon < kBeacons; ++beacon) {
    auto instance = instanceOf(beacon);
    advertisements.emplace_back(
        ServiceDataMap{{"FEAA", {0x00,        0xEE,        0xED,        0xD1,        0xEB,
                                 0xEA,        0xC0,        0x4E,        0x5D,        0xEF,
                                 0xA0,        0x17,        instance[0], instance[1], instance[2],
                                 instance[3], instance[4], instance[5], 0x00,        0x00}}});
  }
  double bytes = 0, allocations = 0;
  for (auto _ : state) {
    FakeSdk env([](Platform& platform) {
      platform.queues = makeGlibDispatchQueueFactory();
      platform.clock = makeSystemClock();
    });
    BeaconScanner scanner;
    scanner.setDelegate(std::make_shared<CountingDelegate>());
    SilentCentral central;
    PeripheralIdentifier device{{0x42}};
    size_t before = mallinfo2().uordblks;
    uint64_t allocationsBefore = bench::allocations;
    for (const auto& advertisement : advertisements)
      scanner.centralManagerDidDiscover(central, device, advertisement, -60);
    bytes += static_cast<double>(mallinfo2().uordblks - before) / kBeacons;
    allocations += static_cast<double>(bench::allocations - allocationsBefore) / kBeacons;
  }
  state.counters["bytes/beacon"] =
      benchmark::Counter(bytes / static_cast<double>(state.iterations()));
  state.counters["allocs/beacon"] =
      benchmark::Counter(allocations / static_cast<double>(state.iterations()));
}
BENCHMARK(BM_BeaconScannerMemoryPerBeacon)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
}  // namespace vicinix
