// vicinix-sample-captures: writes the sample captures of samples/, two and a
// half minutes at a store entrance, as btsnoop (what `btmon -w` saves) and as
// pcap (what Wireshark saves) of the same HCI traffic, and the same
// advertisements as three over-the-air sniffers save them (link types 251,
// 256 and 272):
//
//   vicinix-sample-captures OUTPUT_DIRECTORY
//
// The scene uses the reference backend's sample beacons. Everything comes
// from a fixed seed, so the files are the same on every run and machine.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include "capture_file_writer.h"
#include "hci_packets.h"

namespace vicinix::tools {
namespace {

using std::chrono::March;
using namespace std::string_view_literals;

constexpr double kLength = 150;   // seconds
constexpr double kMissed = 0.08;  // share of advertisements the scan window misses

const std::array<uint8_t, 10> kEntranceNamespace = {0xed, 0xd1, 0xeb, 0xea, 0xc0,
                                                    0x4e, 0x5d, 0xef, 0xa0, 0x17};
const std::array<uint8_t, 10> kCafeNamespace = {0xf7, 0x82, 0x6d, 0xa6, 0xbc,
                                                0x5b, 0x71, 0xe0, 0x89, 0x3e};

// splitmix64: the same numbers everywhere, unlike the standard distributions.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  double between(double low, double high) { return low + (high - low) * uniform(); }

 private:
  uint64_t state_;
};

struct Device {
  Address address;
  AddressType addressType = AddressType::Random;
  LegacyEvent kind = LegacyEvent::NonConnectable;
  bool extended = false;                             // reported in extended advertising reports
  double interval = 1.0;                             // seconds between advertisements
  int RSSI = -65;                                    // typical signal where the scanner stands
  std::vector<std::pair<double, double>> present{};  // in range from, to (seconds)
  std::function<Bytes(uint32_t n)> data{};           // what the n-th advertisement carries
  Bytes scanResponse{};                              // answered to the active scan, if any
};

struct Record {
  int64_t micros;
  uint64_t order;  // ties keep the order of making
  bool command;
  Bytes packet;
  // What a sniffer heard of it; empty for what only the host sees.
  std::vector<Bytes> air = {};
  int8_t RSSI = kRSSIUnavailable;
};

std::vector<Device> scene() {
  std::vector<Device> devices;

  // The two entrance beacons rotate UID and telemetry frames. The second
  // walks out of range for half a minute and comes back.
  auto entrance = [](uint8_t last, uint16_t battery, double temperature) {
    return [=](uint32_t n) {
      if (n % 10 == 9) {
        return eddystoneAdvertisement(telemetryFrame(static_cast<uint16_t>(battery - n / 40),
                                                     temperature + 0.05 * (n % 7),
                                                     1'204'000 + n * 3, 3'600'000 + n * 10));
      }
      return eddystoneAdvertisement(
          uidFrame(-20, kEntranceNamespace, {0x01, 0x23, 0x45, 0x67, 0x89, last}));
    };
  };
  devices.push_back({.address = {0xC0, 0xFF, 0xEE, 0x00, 0x00, 0x01},
                     .interval = 1.0,
                     .RSSI = -58,
                     .present = {{0, kLength}},
                     .data = entrance(0xab, 3012, 21.5)});
  devices.push_back({.address = {0xC0, 0xFF, 0xEE, 0x00, 0x00, 0x02},
                     .interval = 1.05,
                     .RSSI = -71,
                     .present = {{4, 55}, {88, kLength}},
                     .data = entrance(0xac, 2890, 23.0)});

  // The cafe beacon advertises extended, and its controller sometimes
  // cannot measure the signal.
  devices.push_back({.address = {0xD0, 0x5E, 0xCA, 0xFE, 0x00, 0x03},
                     .extended = true,
                     .interval = 0.95,
                     .RSSI = -77,
                     .present = {{15, 140}},
                     .data = [](uint32_t n) {
                       if (n % 10 == 5) {
                         return eddystoneAdvertisement(
                             telemetryFrame(2750, 24.75, 88'000 + n * 2, 720'000 + n * 10));
                       }
                       return eddystoneAdvertisement(
                           uidFrame(-16, kCafeNamespace, {0x00, 0x00, 0x00, 0x00, 0x00, 0xc1}));
                     }});

  // An EID beacon, whose telemetry is encrypted for its owner.
  devices.push_back({.address = {0xE4, 0x1D, 0x00, 0x00, 0x00, 0x04},
                     .interval = 1.1,
                     .RSSI = -66,
                     .present = {{30, 120}},
                     .data = [](uint32_t n) {
                       if (n % 10 == 3) {
                         return eddystoneAdvertisement(encryptedTelemetryFrame(
                             {0x5c, 0x1e, 0x77, 0x02, 0x9b, 0xd4, 0x31, 0x80, 0x6a, 0xf2, 0x0e,
                              static_cast<uint8_t>(n)},
                             0x4c21, static_cast<uint16_t>(0x9d00 + n)));
                       }
                       return eddystoneAdvertisement(
                           eidFrame(-21, {0x1d, 0x4e, 0x5f, 0x6a, 0x7b, 0x8c, 0x9d, 0xae}));
                     }});

  // A URL beacon at the shop window: https://example.com/spring.
  devices.push_back({.address = {0xE7, 0x0B, 0x00, 0x00, 0x00, 0x05},
                     .interval = 2.0,
                     .RSSI = -80,
                     .present = {{0, kLength}},
                     .data = [](uint32_t n) {
                       if (n % 5 == 4) {
                         return eddystoneAdvertisement(
                             telemetryFrame(3100, 19.75, 5'000 + n, 86'400 + n * 20));
                       }
                       return eddystoneAdvertisement(urlFrame(-22, 0x03, "example\0spring"sv));
                     }});

  // Not beacons of ours: an iBeacon of the entrance's proximity UUID and a
  // freezer thermometer that answers the active scan with its name.
  devices.push_back({.address = {0xF6, 0x1B, 0xEA, 0xC0, 0x00, 0x06},
                     .interval = 1.5,
                     .RSSI = -62,
                     .present = {{0, kLength}},
                     .data = [](uint32_t) {
                       return flags(0x06) +
                              manufacturerData(0x004c,
                                               {0x02, 0x15, 0xf7, 0x82, 0x6d, 0xa6, 0x4f, 0xa2,
                                                0x4e, 0x98, 0x80, 0x24, 0xbc, 0x5b, 0x71, 0xe0,
                                                0x89, 0x3e, 0x00, 0x01, 0x00, 0x02, 0xc5});
                     }});
  devices.push_back({.address = {0x00, 0x1A, 0x7D, 0xDA, 0x71, 0x13},
                     .addressType = AddressType::Public,
                     .kind = LegacyEvent::Connectable,
                     .interval = 3.0,
                     .RSSI = -84,
                     .present = {{0, kLength}},
                     .data = [](uint32_t) { return flags(0x06) + serviceUUIDs({0x1809}); },
                     .scanResponse = completeName("Freezer-Probe-2")});
  return devices;
}

// Signal fades in and out at the edges of a stay, and wanders in between.
int8_t signal(const Device& device, double at, const std::pair<double, double>& stay, int& wander,
              Random& random) {
  wander = std::clamp(wander + static_cast<int>(std::floor(random.between(-2, 3))), -6, 6);
  double fade = 0;
  if (stay.first > 0) fade = std::max(fade, 20 * (1 - (at - stay.first) / 5));
  if (stay.second < kLength) fade = std::max(fade, 20 * (1 - (stay.second - at) / 8));
  int noise = static_cast<int>(std::floor(random.between(-3, 4)));
  return static_cast<int8_t>(
      std::clamp(device.RSSI + wander + noise - static_cast<int>(fade), -100, -30));
}

std::vector<Record> traffic(int64_t start) {
  std::vector<Record> records;
  uint64_t order = 0;
  auto add = [&](double at, bool command, Bytes packet, std::vector<Bytes> air = {},
                 int8_t RSSI = kRSSIUnavailable) {
    records.push_back({start + std::llround(at * 1e6), order++, command, std::move(packet),
                       std::move(air), RSSI});
  };
  add(0.000'210, true, setScanParameters());
  add(0.000'480, false, commandComplete(kSetScanParameters));
  add(0.000'730, true, setScanEnable(true));
  add(0.001'020, false, commandComplete(kSetScanEnable));

  Random random(20240301);
  for (const Device& device : scene()) {
    int wander = 0;
    double phase = random.between(0.02, device.interval);
    uint32_t n = 0;
    for (double at = phase; at < kLength; at += device.interval, ++n) {
      // Beacons delay each advertisement by up to 10 ms so they do not keep colliding.
      double sent = at + random.between(0, 0.010);
      auto stay = std::find_if(device.present.begin(), device.present.end(), [&](auto& window) {
        return sent >= window.first && sent < window.second;
      });
      if (stay == device.present.end() || random.uniform() < kMissed) continue;
      Advertisement advertisement{.address = device.address,
                                  .addressType = device.addressType,
                                  .RSSI = signal(device, sent, *stay, wander, random),
                                  .data = device.data(n)};
      if (device.extended) {
        if (n % 25 == 12) advertisement.RSSI = kRSSIUnavailable;
        add(sent, false, extendedAdvertisingReport(advertisement),
            {airExtendedPointer(), airExtendedAdvertisement(advertisement)}, advertisement.RSSI);
        continue;
      }
      add(sent, false, legacyAdvertisingReport(advertisement, device.kind),
          {airAdvertisement(advertisement, device.kind)}, advertisement.RSSI);
      if (!device.scanResponse.empty()) {
        advertisement.data = device.scanResponse;
        add(sent + 0.000'400, false,
            legacyAdvertisingReport(advertisement, LegacyEvent::ScanResponse),
            {airAdvertisement(advertisement, LegacyEvent::ScanResponse)}, advertisement.RSSI);
      }
    }
  }
  add(kLength + 0.000'150, true, setScanEnable(false));
  add(kLength + 0.000'420, false, commandComplete(kSetScanEnable));
  std::sort(records.begin(), records.end(), [](const Record& a, const Record& b) {
    return a.micros != b.micros ? a.micros < b.micros : a.order < b.order;
  });
  return records;
}

bool write(const std::filesystem::path& path, CaptureFileWriter::Format format, int64_t start,
           const std::vector<Record>& records) {
  CaptureFileWriter writer(path, format);
  // What btmon records before the first packet of a session.
  writer.systemNote(start, "Linux version 6.1.0-18-amd64 (x86_64)");
  writer.systemNote(start, "Bluetooth subsystem version 2.22");
  writer.newIndex(start, {0x00, 0x1A, 0x7D, 0xDA, 0x71, 0x0A}, "hci0");
  writer.openIndex(start);
  uint8_t channel = 37;
  for (const Record& record : records) {
    for (size_t i = 0; i < record.air.size(); ++i) {
      // The pointer goes out on a primary channel 300 us ahead of what it
      // points to, on channel 8, which is what a controller reports.
      bool pointer = i + 1 < record.air.size();
      writer.air(record.micros - int64_t(record.air.size() - 1 - i) * 300, record.air[i],
                 record.RSSI, pointer ? channel : 8);
    }
    if (!record.air.empty()) channel = channel == 39 ? 37 : channel + 1;
    if (record.command) {
      writer.command(record.micros, record.packet);
    } else {
      writer.event(record.micros, record.packet);
    }
  }
  if (!writer.good()) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return writer.good();
}

}  // namespace
}  // namespace vicinix::tools

int main(int argc, char** argv) {
  using namespace vicinix::tools;
  using namespace std::chrono;
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
    return 2;
  }
  std::filesystem::path directory = argv[1];
  // 2024-03-01 09:30:00 UTC, a Friday morning.
  int64_t start =
      duration_cast<microseconds>(
          (sys_days{year{2024} / March / 1} + hours{9} + minutes{30}).time_since_epoch())
          .count();
  auto records = traffic(start);
  bool written =
      write(directory / "store-entrance.btsnoop", CaptureFileWriter::Format::BtsnoopMonitor, start,
            records) &&
      write(directory / "store-entrance.pcap", CaptureFileWriter::Format::PcapH4, start, records) &&
      write(directory / "store-entrance-sniffer-ll.pcap", CaptureFileWriter::Format::PcapLinkLayer,
            start, records) &&
      write(directory / "store-entrance-sniffer-phdr.pcap",
            CaptureFileWriter::Format::PcapLinkLayerWithHeader, start, records) &&
      write(directory / "store-entrance-sniffer-nrf.pcap", CaptureFileWriter::Format::PcapNordic,
            start, records);
  return written ? 0 : 1;
}
