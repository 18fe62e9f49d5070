#include "beacons/beacon_scanner.h"

#include <vicinix/notification_center.h>

#include <algorithm>
#include <string>

#include "base/sdk.h"

namespace vicinix {
namespace {

using FrameType = BeaconInfo::EddystoneFrameType;

Uptime::duration seconds(double value) {
  return std::chrono::round<Uptime::duration>(std::chrono::duration<double>(value));
}

}  // namespace

size_t BeaconScanner::KeyHash::operator()(const Key& key) const noexcept {
  uint64_t hash = 14695981039346656037ull ^ key.length;  // FNV-1a
  for (size_t i = 0; i < key.length; ++i) hash = (hash ^ key.bytes[i]) * 1099511628211ull;
  return static_cast<size_t>(hash);
}

BeaconScanner::Key BeaconScanner::keyFor(const BeaconID& beaconID) {
  Key key;
  auto bytes = beaconID.beaconID();
  key.length = static_cast<uint8_t>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), key.bytes.begin());
  return key;
}

BeaconScanner::BeaconScanner(double onLostTimeout)
    : sdk_(Sdk::current()),
      onLostTimeout_(onLostTimeout),
      lostAfter_(seconds(onLostTimeout)),
      mainQueue_(sdk_.mainQueuePtr()),
      notificationCenter_(sdk_.shared<NotificationCenter>()),
      beaconOperationsQueue_(sdk_.makeSerialQueue("beacon_operations_queue")) {
  centralManager_ = sdk_.makeBluetoothCentral(*this, beaconOperationsQueue_);
}

BeaconScanner::~BeaconScanner() {
  {
    std::lock_guard lock(life_->mutex);
    life_->alive = false;
  }
  // The central first: its reports touch the caches. Then the timers, whose
  // blocks find the scanner gone.
  centralManager_.reset();
  seenEddystoneCache_.clear();
}

template <class Work>
DispatchQueue::Task BeaconScanner::guarded(Work work) {
  return [life = life_, work = std::move(work)]() mutable {
    std::lock_guard lock(life->mutex);
    if (life->alive) work();
  };
}

void BeaconScanner::setDelegate(std::shared_ptr<BeaconScannerDelegate> delegate) {
  beaconOperationsQueue_->async(guarded(
      [this, delegate = std::move(delegate)]() mutable { delegate_ = std::move(delegate); }));
}

void BeaconScanner::startScanning() {
  beaconOperationsQueue_->async(guarded([this] { startScanningSynchronized(); }));
}

void BeaconScanner::stopScanning() {
  beaconOperationsQueue_->async(guarded([this] {
    shouldBeScanning_ = false;
    centralManager_->stopScan();
  }));
}

void BeaconScanner::startScanningSynchronized() {
  auto state = centralManager_->state();
  if (state != BluetoothCentralState::poweredOn) {
    sdk_.log().systemLine("CentralManager state is " + std::to_string(static_cast<int>(state)) +
                          ", cannot start scan");
    shouldBeScanning_ = true;
    notificationCenter_.post(kBluetoothStatusChangedNotification, false);
    return;
  }
  sdk_.log().systemLine("Starting to scan for Eddystones");
  centralManager_->scanForPeripherals({"FEAA"}, true);
  notificationCenter_.post(kBluetoothStatusChangedNotification, true);
}

void BeaconScanner::centralManagerDidUpdateState(BluetoothCentral& central) {
  // Losing power posts nothing and keeps shouldBeScanning_: the next power-on
  // only restarts a scan that was asked for while there was none.
  if (central.state() == BluetoothCentralState::poweredOn && shouldBeScanning_) {
    startScanningSynchronized();
  }
}

void BeaconScanner::centralManagerDidDiscover(BluetoothCentral&,
                                              const PeripheralIdentifier& peripheral,
                                              const std::optional<ServiceDataMap>& serviceData,
                                              int RSSI) {
  if (!serviceData) {
    sdk_.log().systemLine("Unable to find service data; can't process Eddystone");
    return;
  }
  auto frame = BeaconInfo::eddystoneServiceData(*serviceData);
  switch (auto type = BeaconInfo::frameTypeForFrame(frame)) {
    case FrameType::TelemetryFrameType:
      deviceIDCache_[peripheral] = BeaconInfo::telemetryDataForFrame(*serviceData);
      break;
    case FrameType::UIDFrameType:
    case FrameType::EIDFrameType: {
      auto held = deviceIDCache_.find(peripheral);
      TelemetryData telemetry = held != deviceIDCache_.end() ? held->second : nullptr;
      auto beaconInfo = type == FrameType::UIDFrameType
                            ? BeaconInfo::beaconInfoForUIDFrameData(frame, telemetry, RSSI)
                            : BeaconInfo::beaconInfoForEIDFrameData(frame, telemetry, RSSI);
      if (!beaconInfo) return;  // the telemetry waits for a frame that parses
      if (held != deviceIDCache_.end()) deviceIDCache_.erase(held);
      sighting(*beaconInfo);
      break;
    }
    case FrameType::URLFrameType:
      if (auto url = BeaconInfo::parseURLFromFrame(frame); url && delegate_) {
        delegate_->didObserveURLBeacon(*this, *url, RSSI);
      }
      break;
    case FrameType::UnknownFrameType:
      break;
  }
}

void BeaconScanner::sighting(const BeaconInfo& beaconInfo) {
  Key key = keyFor(beaconInfo.beaconID());
  auto it = seenEddystoneCache_.find(key);
  if (it == seenEddystoneCache_.end()) return find(beaconInfo, key);
  Entry& entry = it->second;
  if (entry.losing) {
    // Back before its loss was told: a new find once the loss is out.
    if (!entry.foundWhileLosing) entry.foundWhileLosing = beaconInfo;
    return;
  }
  // The lost timer is not moved here: when it fires it finds this time and
  // re-arms itself, which keeps the timer off the per-advertisement path.
  entry.lastSeen = sdk_.clock().uptime();
  if (delegate_) delegate_->didUpdateBeacon(*this, beaconInfo);
}

void BeaconScanner::find(const BeaconInfo& beaconInfo, const Key& key) {
  if (delegate_) delegate_->didFindBeacon(*this, beaconInfo);
  Entry entry{.beaconInfo = beaconInfo,
              .onLostTimer = nullptr,
              .timerGeneration = 0,
              .lastSeen = sdk_.clock().uptime(),
              .losing = false,
              .foundWhileLosing = std::nullopt};
  scheduleLostTimer(entry, key, lostAfter_);
  seenEddystoneCache_.insert_or_assign(key, std::move(entry));
}

// The timer fires on the main queue but the cache lives on the scanner's
// queue, so its block only hops over.
void BeaconScanner::scheduleLostTimer(Entry& entry, const Key& key, Uptime::duration delay) {
  entry.timerGeneration = ++nextTimerGeneration_;
  entry.onLostTimer = DispatchTimer::scheduledDispatchTimer(
      std::chrono::duration<double>(delay).count(), mainQueue_,
      [this, life = life_, key, generation = entry.timerGeneration](DispatchTimer&) {
        std::lock_guard lock(life->mutex);
        if (!life->alive) return;
        beaconOperationsQueue_->async(
            guarded([this, key, generation] { lostTimerFired(key, generation); }));
      });
}

void BeaconScanner::lostTimerFired(const Key& key, uint64_t generation) {
  auto it = seenEddystoneCache_.find(key);
  if (it == seenEddystoneCache_.end()) return;
  Entry& entry = it->second;
  if (entry.timerGeneration != generation || entry.losing) return;
  // Seen since the timer was armed: quiet for less than the timeout so far,
  // so the timer goes again for the rest of it. Quiet time is uptime: a wall
  // clock stepped either way says nothing about how long a beacon was silent.
  if (auto quiet = sdk_.clock().uptime() - entry.lastSeen; quiet < lostAfter_) {
    scheduleLostTimer(entry, key, lostAfter_ - quiet);
    return;
  }
  // Told first, removed after: until forget() runs, sightings of this beacon
  // wait to become its next find.
  entry.losing = true;
  mainQueue_->async(guarded([this, key, beaconInfo = entry.beaconInfo, delegate = delegate_] {
    if (delegate) delegate->didLoseBeacon(*this, beaconInfo);
    beaconOperationsQueue_->async(guarded([this, key] { forget(key); }));
  }));
}

void BeaconScanner::forget(const Key& key) {
  auto node = seenEddystoneCache_.extract(key);
  if (!node) return;
  auto foundWhileLosing = std::move(node.mapped().foundWhileLosing);
  node = {};
  if (foundWhileLosing) find(*foundWhileLosing, key);
}

}  // namespace vicinix
