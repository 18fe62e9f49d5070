#include "scan_tally.h"

#include <algorithm>
#include <cstdio>

#include "beacons/beacon_info.h"

namespace vicinix::host {
namespace {

using FrameType = BeaconInfo::EddystoneFrameType;

// Silences this close to the lost timer turn into losses with a little bad luck.
constexpr double kAtRiskShare = 2.0 / 3.0;

std::string hex(std::span<const uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xf];
  }
  return text;
}

const char* frameName(FrameType type) {
  switch (type) {
    case FrameType::UIDFrameType:
      return "UID";
    case FrameType::EIDFrameType:
      return "EID";
    case FrameType::TelemetryFrameType:
      return "TLM";
    case FrameType::URLFrameType:
      return "URL";
    case FrameType::UnknownFrameType:
      break;
  }
  return "other";
}

std::string format(const char* pattern, auto... values) {
  char text[160];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

}  // namespace

ScanTally::ScanTally(std::shared_ptr<Clock> clock, double lostTimeoutSeconds)
    : clock_(std::move(clock)), lostTimeout_(lostTimeoutSeconds), start_(clock_->uptime()) {}

double ScanTally::secondsNow() const {
  return std::chrono::duration<double>(clock_->uptime() - start_).count();
}

void ScanTally::centralManagerDidUpdateState(BluetoothCentral& central) {
  bool on = central.state() == BluetoothCentralState::poweredOn;
  {
    std::lock_guard lock(mutex_);
    if (on && !scanningSince_) scanningSince_ = secondsNow();
    poweredOn_ = on;
  }
  // As the beacon scanner asks, so that the counts are the ones it would see.
  if (on) central.scanForPeripherals({"FEAA"}, true);
}

void ScanTally::centralManagerDidDiscover(BluetoothCentral&, const PeripheralIdentifier&,
                                          const std::optional<ServiceDataMap>& serviceData,
                                          int RSSI) {
  std::lock_guard lock(mutex_);
  ++advertisements_;
  if (!serviceData) return;
  FrameType type = BeaconInfo::frameTypeForFrame(*serviceData);
  ++frames_[frameName(type)];
  if (type != FrameType::UIDFrameType && type != FrameType::EIDFrameType) return;
  auto frame = serviceData->find("FEAA");
  if (frame == serviceData->end()) return;
  auto info = type == FrameType::UIDFrameType
                  ? BeaconInfo::beaconInfoForUIDFrameData(frame->second, nullptr, RSSI)
                  : BeaconInfo::beaconInfoForEIDFrameData(frame->second, nullptr, RSSI);
  if (!info) return;
  const BeaconID& id = info->beaconID();
  std::string name = type == FrameType::UIDFrameType ? "uid " + id.nameSpace() + " " + id.instance()
                                                     : "eid " + hex(id.beaconID());
  double now = secondsNow();
  auto [it, added] = beacons_.try_emplace(name);
  Beacon& beacon = it->second;
  if (added) {
    beacon.first = now;
  } else {
    double gap = now - beacon.last;
    beacon.longestGap = std::max(beacon.longestGap, gap);
    if (gap >= lostTimeout_) ++beacon.losses;
  }
  beacon.last = now;
  ++beacon.reports;
  if (RSSI != 127) beacon.strongestRSSI = std::max(beacon.strongestRSSI, RSSI);
}

int ScanTally::flappingBeacons() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(std::count_if(beacons_.begin(), beacons_.end(),
                                        [](const auto& entry) { return entry.second.losses > 0; }));
}

void ScanTally::print(std::ostream& out) const {
  int flapping = flappingBeacons();
  std::lock_guard lock(mutex_);
  double seconds = secondsNow();
  out << format("scan: %.1f s, %s; %llu advertisements, Eddystone frames:", seconds,
                scanningSince_ ? format("scanning from %.1f s", *scanningSince_).c_str()
                               : "Bluetooth never on",
                static_cast<unsigned long long>(advertisements_));
  for (const char* kind : {"UID", "EID", "TLM", "URL", "other"}) {
    auto count = frames_.find(kind);
    out << " " << kind << " " << (count == frames_.end() ? 0 : count->second);
  }
  out << "\n";
  if (beacons_.empty()) {
    out << "verdict: no Eddystone UID or EID beacon heard; check that Bluetooth is on and a "
           "beacon is in range\n";
    return;
  }
  out << format("%-50s %7s %7s %7s %8s %8s %6s  %s\n", "beacon", "reports", "per s", "first s",
                "gap s", "quiet s", "losses", "verdict");
  const std::string* worst = nullptr;
  double longest = 0;
  for (const auto& [name, beacon] : beacons_) {
    double span = beacon.last - beacon.first;
    // From the first report on: the time before it is detection, not a gap.
    double rate = span > 0 ? (beacon.reports - 1) / span : 0;
    std::string verdict = beacon.losses > 0    ? format("flaps: lost and found again %d time%s",
                                                        beacon.losses, beacon.losses == 1 ? "" : "s")
                          : beacon.reports < 2 ? "heard once"
                          : beacon.longestGap >= lostTimeout_ * kAtRiskShare ? "at risk"
                                                                             : "steady";
    out << format("%-50s %7d %7.2f %7.1f %8.1f %8.1f %6d  ", name.c_str(), beacon.reports, rate,
                  beacon.first, beacon.longestGap, seconds - beacon.last, beacon.losses)
        << verdict << "\n";
    if (beacon.longestGap >= longest) longest = beacon.longestGap, worst = &name;
  }
  if (flapping > 0) {
    out << format("verdict: the %.0f s lost timer flaps for %d of %zu beacons", lostTimeout_,
                  flapping, beacons_.size())
        << "; each loss is followed by a new find and a new campaign request\n";
  } else {
    out << format("verdict: the %.0f s lost timer holds; longest gap %.1f s (", lostTimeout_,
                  longest)
        << *worst << ")\n";
  }
}

}  // namespace vicinix::host
