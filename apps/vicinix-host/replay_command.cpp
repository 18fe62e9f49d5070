// vicinix-host replay: a Bluetooth capture through the SDK's own beacon
// scanner, on virtual time that starts at the capture's first HCI event. Each
// advertisement arrives at its capture time and each lost timer fires at its
// exact time, so hours of capture replay in seconds, the same on every run.

#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "beacons/beacon_scanner.h"
#include "beacons/eddystone_telemetry.h"
#include "commands.h"
#include "exit_code.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/standard_stream_log.h"
#include "replay_summary.h"

namespace vicinix::host {
namespace {

using Counts = CaptureReplayCentral::Counts;

constexpr int kRSSIUnavailable = 127;

std::string hex(std::span<const uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xf];
  }
  return text;
}

std::string format(const char* pattern, auto... values) {
  char text[96];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

std::string telemetryText(const std::vector<uint8_t>& frame) {
  auto telemetry = EddystoneTelemetry::decode(frame);
  if (!telemetry) {
    bool encrypted = frame.size() > 1 && frame[1] == 0x01;
    return (encrypted ? "encrypted " : "unreadable ") + hex(frame);
  }
  return (telemetry->batteryMillivolts
              ? format("battery %u mV", unsigned{*telemetry->batteryMillivolts})
              : "battery not measured") +
         (telemetry->temperatureCelsius ? format(", %.2f °C", *telemetry->temperatureCelsius)
                                        : ", no temperature") +
         format(", %u frames sent, up %.1f s", telemetry->advertisingPDUCount,
                std::chrono::duration<double>(telemetry->uptime).count());
}

std::string rssiText(int RSSI) {
  return RSSI == kRSSIUnavailable ? "RSSI unavailable" : "RSSI " + std::to_string(RSSI) + " dBm";
}

nlohmann::ordered_json rssiJson(int RSSI) {
  return RSSI == kRSSIUnavailable ? nlohmann::ordered_json() : nlohmann::ordered_json(RSSI);
}

// One line per delegate call, stamped with the seconds since the capture's first event.
class ReplayPrinter final : public BeaconScannerDelegate {
 public:
  ReplayPrinter(Clock& clock, Date origin, bool json)
      : clock_(clock), origin_(origin), json_(json) {}

  void didFindBeacon(BeaconScanner&, const BeaconInfo& info) override { beacon("found", info); }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& info) override { beacon("lost", info); }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo& info) override { beacon("updated", info); }
  void didObserveURLBeacon(BeaconScanner&, const Url& URL, int RSSI) override {
    if (json_) {
      nlohmann::ordered_json line{{"t", seconds()}, {"event", "url"}};
      line["url"] = URL.text();
      line["rssi"] = rssiJson(RSSI);
      std::cout << line.dump() << '\n';
      return;
    }
    std::printf("%12.6f s  %-7s  %s  %s\n", seconds(), "url", URL.text().c_str(),
                rssiText(RSSI).c_str());
  }

 private:
  double seconds() const { return std::chrono::duration<double>(clock_.now() - origin_).count(); }

  void beacon(const char* event, const BeaconInfo& info) {
    const BeaconID& id = info.beaconID();
    bool uid = id.beaconType() == BeaconID::BeaconType::Eddystone;
    const auto& telemetry = info.telemetry();
    if (json_) {
      nlohmann::ordered_json line{{"t", seconds()},
                                  {"event", event},
                                  {"type", uid ? "Eddystone" : "EddystoneEID"},
                                  {"id", hex(id.beaconID())}};
      if (uid) {
        line["namespace"] = id.nameSpace();
        line["instance"] = id.instance();
      }
      line["txPower"] = info.txPower();
      line["rssi"] = rssiJson(info.RSSI());
      line["telemetry"] = telemetry ? nlohmann::ordered_json(hex(*telemetry)) : nullptr;
      std::cout << line.dump() << '\n';
      return;
    }
    std::string name = uid ? "Eddystone " + id.nameSpace() + " " + id.instance()
                           : "EddystoneEID " + hex(id.beaconID());
    std::printf("%12.6f s  %-7s  %s  txPower %d dBm  %s%s\n", seconds(), event, name.c_str(),
                info.txPower(), rssiText(info.RSSI()).c_str(),
                telemetry ? ("  telemetry: " + telemetryText(*telemetry)).c_str() : "");
  }

  Clock& clock_;
  Date origin_;
  bool json_;
};

// The first event's time, where virtual time starts. A capture whose clock is
// nowhere near today starts at the epoch instead: only offsets are printed.
Date firstEventTime(CaptureFileReader& reader) {
  CaptureFileReader::Event first;
  if (!reader.next(first)) return Date{};
  auto sinceEpoch = first.timestamp;
  if (sinceEpoch < std::chrono::microseconds::zero() || sinceEpoch > std::chrono::years(150))
    return Date{};
  return Date(std::chrono::duration_cast<Date::duration>(sinceEpoch));
}

}  // namespace

int runReplay(const ReplayOptions& options) {
  std::string error;
  auto reader = CaptureFileReader::open(options.file, error);
  if (!reader) {
    std::cerr << "replay: error: cannot replay " << options.file.string() << ": " << error << "\n";
    return kExitUsage;
  }
  Date origin = firstEventTime(*reader);
  reader.reset();

  auto progress = std::make_shared<CaptureReplayCentral::Progress>();
  std::shared_ptr<Log> log = makeStandardStreamLog();
  FakeSdk env(FakeSdk::Options{
      .start = origin,
      .appData = options.dataDir,
      .customize =
          [&](Platform& platform) {
            platform.log = log;
            platform.bluetooth = CaptureReplayCentral::factory(
                {.path = options.file, .clock = platform.clock, .log = log, .speed = 1.0},
                progress);
          },
  });
  auto printer = std::make_shared<ReplayPrinter>(env.sdk().clock(), origin, options.json);
  {
    BeaconScanner scanner;
    scanner.setDelegate(printer);
    scanner.startScanning();
    // The whole capture, then virtual time runs on until the last lost timer has fired.
    while (!env.time->runAll()) {
    }
  }
  std::cout.flush();
  Counts counts = progress->counts();
  std::cerr << replaySummary(counts) << "\n";
  if (!counts.finished) {
    std::cerr << "replay: error: " << options.file.string() << " could not be replayed\n";
    return kExitUsage;
  }
  return kExitOk;
}

}  // namespace vicinix::host
