#include <benchmark/benchmark.h>
#include <glib.h>

#include "platform/linux/bluez_device_tracker.h"
#include "platform/linux/hci_scan_session.h"

namespace vicinix {
namespace {

// What the raw HCI central spends on each Eddystone advertisement it reads.
void BM_HciScanSessionEddystoneReport(benchmark::State& state) {
  HciScanSession session("hci0");
  session.adapterUp(true);
  session.scan({"FEAA"}, true);
  // Flags, the Eddystone UUID and a UID frame from C0:FF:EE:00:00:01.
  std::vector<uint8_t> data = {0x02, 0x01, 0x06, 0x03, 0x03, 0xaa, 0xfe, 0x17, 0x16, 0xaa, 0xfe,
                               0x00, 0xe7, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                               0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f, 0x00, 0x00};
  std::vector<uint8_t> packet = {0x04,
                                 0x3e,
                                 static_cast<uint8_t>(12 + data.size()),
                                 0x02,
                                 0x01,
                                 0x00,
                                 0x01,
                                 0x01,
                                 0x00,
                                 0x00,
                                 0xee,
                                 0xff,
                                 0xc0,
                                 static_cast<uint8_t>(data.size())};
  for (uint8_t byte : data) packet.push_back(byte);
  packet.push_back(0xc4);
  for (auto _ : state) {
    auto effects = session.received(packet);
    benchmark::DoNotOptimize(effects);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HciScanSessionEddystoneReport);

// What the BlueZ central spends on each PropertiesChanged of a beacon.
void BM_BluezDeviceTrackerServiceDataSignal(benchmark::State& state) {
  BluezDeviceTracker tracker;
  tracker.setAdapter("/org/bluez/hci0");
  tracker.startScan({"0000feaa-0000-1000-8000-00805f9b34fb"}, true);
  GVariant* changed = g_variant_ref_sink(g_variant_new_parsed(
      "{'ServiceData': <{'0000feaa-0000-1000-8000-00805f9b34fb': <[byte 0x00, 0xe7, 0x00, 0x01, "
      "0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f, 0x00, "
      "0x00]>}>, 'RSSI': <int16 -60>}"));
  GVariant* invalidated = g_variant_ref_sink(g_variant_new_parsed("@as []"));
  const std::string path = "/org/bluez/hci0/dev_C0_FF_EE_00_00_01";
  for (auto _ : state) {
    auto discovery = tracker.propertiesChanged(path, changed, invalidated);
    benchmark::DoNotOptimize(discovery);
  }
  g_variant_unref(changed);
  g_variant_unref(invalidated);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BluezDeviceTrackerServiceDataSignal);

}  // namespace
}  // namespace vicinix
