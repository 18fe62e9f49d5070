#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/fake/fake_sdk.h"
#include "platform/linux/bluetooth_address.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/capture/hci_capture_builder.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;
using testing::Advert;
using testing::Bytes;
using testing::operator+;
using Calls = std::vector<std::string>;

const int64_t kStart = 1'700'000'000'000'000;
const Bytes kTelemetryFrame = {0x20, 0x00, 0x0B, 0xB8, 0x18, 0x80, 0, 0, 0, 1, 0, 0, 0, 1};
// Service data alone, without the UUID list: still an Eddystone advertisement.
const Bytes kTelemetryAdvert = Bytes{15, 0x16, 0xAA, 0xFE} + kTelemetryFrame;
// The UUID list alone: the advertisement is delivered without service data.
const Bytes kListOnlyAdvert = {3, 0x03, 0xAA, 0xFE};

const Advert kBeacon{{1, 2, 3, 4, 5, 6}, -60, testing::kEddystoneAdvert};
const Advert kBeaconTelemetry{{1, 2, 3, 4, 5, 6}, 127, kTelemetryAdvert};
const Advert kOther{{7, 7, 7, 7, 7, 7}, -70, kListOnlyAdvert};
const Advert kSensor{{9, 8, 7, 6, 5, 4}, -50, testing::kHeartRateAdvert};

// Records each call as "ms-since-scan device RSSI data", where device is the
// address's first byte and data the Eddystone frame type ("-" for none).
class CaptureReplayCentralTest : public ::testing::Test, public BluetoothCentralDelegate {
 protected:
  FakeSdk env;
  testing::TemporaryDirectory directory;
  std::filesystem::path file = directory.path / "capture.btsnoop";
  std::shared_ptr<CaptureReplayCentral::Progress> progress =
      std::make_shared<CaptureReplayCentral::Progress>();
  std::unique_ptr<CaptureReplayCentral> central;
  Calls calls;
  int states = 0;
  Duration scanStart{};
  std::function<void()> onDiscover;

  void centralManagerDidUpdateState(BluetoothCentral&) override { ++states; }
  void centralManagerDidDiscover(BluetoothCentral&, const PeripheralIdentifier& peripheral,
                                 const std::optional<ServiceDataMap>& serviceData,
                                 int RSSI) override {
    auto ms = std::chrono::duration<double, std::milli>(env.time->elapsed() - scanStart).count();
    auto from = [&](const Advert& advert) {
      std::array<uint8_t, 6> address;
      std::copy_n(advert.address.begin(), 6, address.begin());
      return peripheral == BluetoothAddress::fromLittleEndian(address).peripheralIdentifier();
    };
    int device = from(kBeacon) ? 1 : from(kOther) ? 7 : from(kSensor) ? 9 : -1;
    char line[64];
    std::snprintf(line, sizeof line, "%g %d %d %s", ms, device, RSSI,
                  serviceData ? (serviceData->at("FEAA")[0] ? "tlm" : "uid") : "-");
    calls.push_back(line);
    if (onDiscover) onDiscover();
  }

  void make(double speed = 1.0) {
    central = std::make_unique<CaptureReplayCentral>(
        CaptureReplayCentral::Options{
            .path = file, .clock = env.time, .log = env.log, .speed = speed},
        *this, env.time->makeSerialQueue("replay"), progress);
  }
  void scan(std::vector<std::string> uuids = {"FEAA"}, bool duplicates = true) {
    scanStart = env.time->elapsed();
    central->scanForPeripherals(uuids, duplicates);
  }
};

// Advertisements reach the delegate at their capture offsets from the scan
// start, divided by the speed; other services are filtered out like a
// service-filtered scan does.
TEST_F(CaptureReplayCentralTest, PlaysTheCaptureTimelineFromTheScanStart) {
  testing::writeCapture(file, testing::Link::BtsnoopMonitor,
                        {{kStart, testing::legacyReportEvent({kBeacon, kSensor})},
                         {kStart + 10, {0x03, 0x0C, 0x00}, true},
                         {kStart + 1'000, testing::extendedReportEvent(kBeaconTelemetry)},
                         {kStart + 2'500'000, testing::legacyReportEvent({kOther, kBeacon})}});
  for (auto [speed, expected] :
       {std::pair{1.0, Calls{"0 1 -60 uid", "1 1 127 tlm", "2500 7 -70 -", "2500 1 -60 uid"}},
        std::pair{2.0, Calls{"0 1 -60 uid", "0.5 1 127 tlm", "1250 7 -70 -", "1250 1 -60 uid"}}}) {
    SCOPED_TRACE(speed);
    calls.clear();
    make(speed);
    env.time->advance(milliseconds(5000));  // the capture waits for the scan
    EXPECT_EQ(central->state(), BluetoothCentralState::poweredOn);
    EXPECT_TRUE(calls.empty());
    scan();
    env.time->runAll();
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(progress->counts(), (CaptureReplayCentral::Counts{.records = 4,
                                                                .advertisingReports = 5,
                                                                .uidFrames = 2,
                                                                .telemetryFrames = 1,
                                                                .finished = true}));
  }
  EXPECT_EQ(states, 2);
}

TEST_F(CaptureReplayCentralTest, ScanArgumentsAndStops) {
  std::vector<testing::Packet> packets;
  for (int second = 0; second < 10; ++second)
    packets.push_back({static_cast<uint64_t>(kStart + second * 1000000),
                       testing::legacyReportEvent({kBeacon, kSensor})});
  testing::writeCapture(file, testing::Link::PcapH4Direction, packets);
  make();

  // Every service, each device once: the first advertisement of each.
  scan({}, false);
  env.time->advance(milliseconds(2500));
  EXPECT_EQ(calls, (Calls{"0 1 -60 uid", "0 9 -50 -"}));

  // Stopped from inside a delegate call: nothing more, and what comes due
  // while stopped is missed, as a radio would miss it.
  calls.clear();
  scan({"0000FEAA-0000-1000-8000-00805F9B34FB"});
  onDiscover = [&] { central->stopScan(); };
  env.time->advance(milliseconds(3000));
  EXPECT_EQ(calls, Calls{"500 1 -60 uid"});
  onDiscover = nullptr;
  calls.clear();
  scan({"180d"});
  env.time->runAll();
  EXPECT_EQ(calls, (Calls{"500 9 -50 -", "1500 9 -50 -", "2500 9 -50 -", "3500 9 -50 -"}));

  // Gone from inside a delegate call: the rest of the event is not delivered.
  calls.clear();
  make();
  scan({});
  onDiscover = [&] { central.reset(); };
  env.time->runAll();
  EXPECT_EQ(calls, Calls{"0 1 -60 uid"});
}

// Whatever is wrong in the file is counted and passed over; the replay goes on.
TEST_F(CaptureReplayCentralTest, MalformedRecordsAndReportsAreCountedAndSkipped) {
  Bytes wrongCount = testing::legacyReportEvent({kBeacon});
  wrongCount[3] = 2;  // two reports announced, one there
  Advert overrun = kBeacon;
  overrun.data = kBeacon.data + Bytes{9, 0x09, 'x'};  // a name longer than the advertisement
  testing::writeCapture(file, testing::Link::BtsnoopUart,
                        {{kStart, wrongCount},
                         {kStart + 1, testing::legacyReportEvent({overrun, kBeacon})},
                         {kStart + 2, testing::legacyReportEvent({kBeacon})},
                         // A clock gone wild: played at the latest offset, not overflowed.
                         {uint64_t{1} << 62, testing::legacyReportEvent({kBeacon})},
                         {kStart + 3, testing::legacyReportEvent({kBeacon})}});
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 5);
  make();
  scan();
  env.time->runAll();
  // The overrunning name goes; the Eddystone data before it stays, as BlueZ keeps it.
  EXPECT_EQ(calls, (Calls{"0.001 1 -60 uid", "0.001 1 -60 uid", "0.002 1 -60 uid",
                          "3.1536e+12 1 -60 uid"}));
  auto counts = progress->counts();
  EXPECT_EQ(counts.records, 5u);
  EXPECT_EQ(counts.malformed, 2u) << "the event with the wrong count and the cut-off tail";
  EXPECT_TRUE(counts.finished);
}

TEST_F(CaptureReplayCentralTest, UnreadableFileIsAnUnsupportedRadio) {
  testing::writeFile(file, {'n', 'o', 'p', 'e'});
  env.log->clear();
  make();
  scan();
  env.time->runAll();
  EXPECT_EQ(central->state(), BluetoothCentralState::unsupported);
  EXPECT_EQ(states, 1);
  EXPECT_TRUE(calls.empty());
  ASSERT_EQ(env.log->systemLines().size(), 1u);
  EXPECT_NE(env.log->systemLines()[0].find("Cannot replay the capture " + file.string()),
            std::string::npos)
      << env.log->systemLines()[0];
}

// In real time on a GLib queue of its own thread, as a host would run it,
// with scan calls and the end of the central coming from another thread.
TEST(CaptureReplayCentralRealTimeTest, PlaysOnAGlibQueueOfItsOwnThread) {
  testing::TemporaryDirectory directory;
  auto file = directory.path / "capture.pcap";
  std::vector<testing::Packet> packets;
  for (int n = 0; n < 20; ++n)
    packets.push_back(
        {static_cast<uint64_t>(kStart + n * 50'000), testing::legacyReportEvent({kBeacon})});
  testing::writeCapture(file, testing::Link::PcapH4, packets);

  struct Collector final : BluetoothCentralDelegate {
    std::atomic<size_t> count = 0;
    void centralManagerDidUpdateState(BluetoothCentral&) override {}
    void centralManagerDidDiscover(BluetoothCentral&, const PeripheralIdentifier&,
                                   const std::optional<ServiceDataMap>&, int) override {
      ++count;
    }
  } collector;
  auto queues = makeGlibDispatchQueueFactory();
  CaptureReplayCentral central(
      {.path = file, .clock = makeSystemClock(), .log = nullptr, .speed = 10}, collector,
      queues->makeSerialQueue("replay"));
  central.scanForPeripherals({"FEAA"}, true);
  for (int wait = 0; wait < 500 && !central.counts().finished; ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(central.counts().finished);
  EXPECT_EQ(collector.count.load(), 20u);

  // Restarted and stopped from this thread while the queue's thread plays.
  CaptureReplayCentral again({.path = file, .clock = makeSystemClock(), .log = nullptr, .speed = 1},
                             collector, queues->makeSerialQueue("replay"));
  again.scanForPeripherals({}, true);
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  again.stopScan();
  size_t stoppedAt = collector.count.load();
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  EXPECT_EQ(collector.count.load(), stoppedAt);
  EXPECT_GT(stoppedAt, 20u);
}

}  // namespace
}  // namespace vicinix
