// How many false losses (a beacon lost while in range, then found again)
// each discovery refresh setting of the BlueZ central gives against a crowd of
// beacons, with BlueZ passing a device on once per ~10 s discovery window as
// kernel discovery with the controller's duplicate filter does.
//
// The crowd plays on the field mock's clock, `kSpeed` times faster than the
// wall clock; the mock's window and the central's refresh are scaled alike.
// Usage: vicinix_bluez_false_losses [crowd minutes] [refresh seconds ...]

#include <gio/gio.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "beacons/beacon_info.h"
#include "platform/linux/bluez_central.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/standard_stream_log.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

// Faster would let a busy machine's scheduling delays pass for BlueZ's.
constexpr double kSpeed = 4;
constexpr double kWindowSeconds = 10.24;  // the kernel's LE discovery window
constexpr double kLostTimeout = 15;

struct CrowdBeacon {
  std::string address;
  double arrival = 0, departure = 0, interval = 1;
  std::vector<std::vector<uint8_t>> frames;
};

std::vector<uint8_t> uidFrame(int instance) {
  return {0x00, 0xe7, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06,
          0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, static_cast<uint8_t>(instance),
          0x00, 0x00};
}
const std::vector<uint8_t> kURLFrame = {0x10, 0xe7, 0x03, 'v', 'i', 'c', 'i', 'n', 'i', 'x', 0x07};
const std::vector<uint8_t> kTLMFrame = {0x20, 0x00, 0x0b, 0xb8, 0x15, 0x00, 0x00,
                                        0x00, 0x10, 0x00, 0x00, 0x00, 0x20, 0x00};

// Four kinds of beacon, as met in shops: UID only each second; UID and TLM
// in turn every 0.5 s; UID, URL and TLM in turn each second (UID every 3 s);
// the same rotation every 100 ms. Most stay; a quarter come and go.
std::vector<CrowdBeacon> makeCrowd(double minutes, std::mt19937& random) {
  std::vector<CrowdBeacon> crowd;
  std::uniform_real_distribution<double> uniform(0, 1);
  double length = minutes * 60;
  for (int i = 0; i < 24; ++i) {
    CrowdBeacon beacon;
    char address[18];
    std::snprintf(address, sizeof address, "C0:FF:EE:00:01:%02X", i);
    beacon.address = address;
    auto uid = uidFrame(i);
    switch (i % 4) {
      case 0:
        beacon.interval = 1, beacon.frames = {uid};
        break;
      case 1:
        beacon.interval = 0.5, beacon.frames = {uid, kTLMFrame};
        break;
      case 2:
        beacon.interval = 1, beacon.frames = {uid, kURLFrame, kTLMFrame};
        break;
      default:
        beacon.interval = 0.1, beacon.frames = {uid, kURLFrame, kTLMFrame};
    }
    beacon.arrival = uniform(random) * beacon.interval;
    beacon.departure = length;
    if (i % 4 == 3 || i >= 20) {
      beacon.arrival = uniform(random) * length * 0.6;
      beacon.departure = beacon.arrival + 60 + uniform(random) * 120;
    }
    crowd.push_back(beacon);
  }
  return crowd;
}

// UID sightings per instance byte, on the mock's clock: the mock stamps each
// UID frame with the time it sent it.
class Sightings final : public BluetoothCentralDelegate {
 public:
  void centralManagerDidUpdateState(BluetoothCentral&) override {}
  void centralManagerDidDiscover(BluetoothCentral&, const PeripheralIdentifier&,
                                 const std::optional<ServiceDataMap>& serviceData, int) override {
    if (!serviceData) return;
    if (BeaconInfo::frameTypeForFrame(*serviceData) != BeaconInfo::EddystoneFrameType::UIDFrameType)
      return;
    const auto& frame = serviceData->at("FEAA");
    double at = ((frame[18] << 8) | frame[19]) / 10.0;
    std::lock_guard lock(mutex_);
    times_[frame[17]].push_back(at);
  }
  std::map<int, std::vector<double>> times() const {
    std::lock_guard lock(mutex_);
    return times_;
  }

 private:
  mutable std::mutex mutex_;
  std::map<int, std::vector<double>> times_;
};

struct Result {
  int falseLosses = 0;
  int beaconsWithLosses = 0;
  double meanFirstDetection = 0;
  double longestGap = 0;
  int uidReports = 0;
};

Result measure(const std::vector<CrowdBeacon>& crowd, double minutes, double refreshSeconds) {
  test::PrivateBus bus;
  char parameters[96];
  std::snprintf(parameters, sizeof parameters, "{\"window\": %g, \"speed\": %g}", kWindowSeconds,
                kSpeed);
  bus.startMock(VICINIX_SOURCE_DIR "/tests/support/bluez_field_mock.py", "org.bluez", parameters);
  bus.call("org.bluez", "/", "org.bluez.Mock", "AddAdapter",
           g_variant_new("(ss)", "hci0", "crowd"));

  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("crowd");
  Sightings sightings;
  auto central = makeBluezCentral(sightings, queue, {"", refreshSeconds / kSpeed}, makeStandardStreamLog());
  central->scanForPeripherals({"FEAA"}, true);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));

  GVariantBuilder beacons;
  g_variant_builder_init(&beacons, G_VARIANT_TYPE("a(sdddaayn)"));
  for (const auto& beacon : crowd) {
    GVariantBuilder frames;
    g_variant_builder_init(&frames, G_VARIANT_TYPE("aay"));
    for (const auto& frame : beacon.frames)
      g_variant_builder_add_value(
          &frames, g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, frame.data(), frame.size(), 1));
    g_variant_builder_add(&beacons, "(sddd@aayn)", beacon.address.c_str(), beacon.arrival,
                          beacon.departure, beacon.interval, g_variant_builder_end(&frames),
                          gint16{-60});
  }
  bus.call("org.bluez", "/", "org.bluez.Mock", "PlayCrowd",
           g_variant_new("(@a(sdddaayn))", g_variant_builder_end(&beacons)));
  std::this_thread::sleep_for(std::chrono::duration<double>(minutes * 60 / kSpeed + 0.5));
  central.reset();

  Result result;
  auto times = sightings.times();
  int present = 0;
  for (size_t i = 0; i < crowd.size(); ++i) {
    const auto& beacon = crowd[i];
    auto& seen = times[static_cast<int>(i)];
    double arrival = beacon.arrival, departure = beacon.departure;
    std::erase_if(seen, [&](double t) { return t < arrival || t > departure + 1; });
    result.uidReports += static_cast<int>(seen.size());
    if (seen.empty()) continue;
    ++present;
    result.meanFirstDetection += seen.front() - arrival;
    int losses = 0;
    for (size_t k = 1; k < seen.size(); ++k) {
      double gap = seen[k] - seen[k - 1];
      result.longestGap = std::max(result.longestGap, gap);
      if (gap >= kLostTimeout) ++losses;
    }
    result.falseLosses += losses;
    if (losses > 0) ++result.beaconsWithLosses;
  }
  if (present > 0) result.meanFirstDetection /= present;
  return result;
}

}  // namespace
}  // namespace vicinix

int main(int argc, char** argv) {
  double minutes = argc > 1 ? std::atof(argv[1]) : 10;
  std::vector<double> settings;
  for (int i = 2; i < argc; ++i) settings.push_back(std::atof(argv[i]));
  if (settings.empty()) settings = {0, 10, 7, 5, 3, 2};
  std::mt19937 random(12);
  auto crowd = vicinix::makeCrowd(minutes, random);
  std::printf(
      "| refresh | false losses | beacons with losses | UID reports | longest gap | mean "
      "first detection |\n|---|---|---|---|---|---|\n");
  for (double refresh : settings) {
    auto result = vicinix::measure(crowd, minutes, refresh);
    std::printf("| %s | %d | %d of %zu | %d | %.1f s | %.1f s |\n",
                refresh == 0 ? "off" : (std::to_string(static_cast<int>(refresh)) + " s").c_str(),
                result.falseLosses, result.beaconsWithLosses, crowd.size(), result.uidReports,
                result.longestGap, result.meanFirstDetection);
    std::fflush(stdout);
  }
  return 0;
}
