#include "platform/linux/capture/capture_replay_central.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "beacons/beacon_info.h"
#include "platform/linux/bluetooth_address.h"
#include "platform/linux/capture/advertising_data.h"
#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/capture/capture_file_reader.h"

namespace vicinix {

namespace {

using FrameType = BeaconInfo::EddystoneFrameType;

// Deliveries per task when records fall due together (a fast replay, or a
// long stretch of one instant), so other work on the queue is not starved.
constexpr int kDeliveriesPerTask = 256;
// Later than any real capture runs, early enough that no date arithmetic
// overflows on a file whose clock jumped wildly.
constexpr std::chrono::microseconds kLatestOffset = std::chrono::hours(24 * 365 * 100);

uint64_t addressKey(const std::array<uint8_t, 6>& address) {
  uint64_t key = 0;
  for (uint8_t byte : address) key = key << 8 | byte;
  return key;
}

// "FEAA" or "0000feaa-0000-1000-8000-00805f9b34fb", in either case; nothing
// for UUIDs outside the Bluetooth base, which no 16-bit list can match.
std::optional<uint16_t> shortServiceUUID(const std::string& text) {
  static constexpr std::string_view kBaseSuffix = "-0000-1000-8000-00805f9b34fb";
  std::string_view hex = text;
  if (hex.size() == 36) {
    std::string suffix(hex.substr(8));
    for (char& c : suffix) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (hex.substr(0, 4) != "0000" || suffix != kBaseSuffix) return std::nullopt;
    hex = hex.substr(4, 4);
  }
  if (hex.size() != 4) return std::nullopt;
  uint16_t value = 0;
  for (char c : hex) {
    int digit = std::isdigit(static_cast<unsigned char>(c))
                    ? c - '0'
                    : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
    if (digit < 0 || digit > 15) return std::nullopt;
    value = static_cast<uint16_t>(value << 4 | digit);
  }
  return value;
}

}  // namespace

CaptureReplayCentral::Counts CaptureReplayCentral::Progress::counts() const {
  std::lock_guard lock(mutex_);
  return counts_;
}

// Everything of one replay, shared with the tasks it has queued. Those tasks
// hold the mutex while they run, delegate calls included, so the central's
// destructor waits one out and no call starts after it.
struct CaptureReplayCentral::Playback {
  std::recursive_mutex mutex;
  BluetoothCentralDelegate* delegate = nullptr;  // null once the central is gone
  BluetoothCentral* central = nullptr;
  std::shared_ptr<DispatchQueue> queue;
  Options options;
  std::shared_ptr<Progress> progress;
  std::atomic<BluetoothCentralState> state{BluetoothCentralState::unsupported};
  std::unique_ptr<CaptureFileReader> reader;

  bool scanning = false;
  uint64_t scan = 0;  // bumped by every scan call, so tasks of an older scan stop
  Uptime scanStart;
  std::optional<std::unordered_set<uint16_t>> wanted;  // absent: every advertisement
  bool allowDuplicates = true;
  std::unordered_set<uint64_t> reported;  // devices told of in this scan, without duplicates

  std::optional<Uptime> origin;  // when the first scan started: the capture's first record
  std::optional<std::chrono::microseconds> firstTimestamp;
  CaptureFileReader::Event next;
  bool hasNext = false;
  std::unordered_map<uint64_t, PeripheralIdentifier> identifiers;
  Counts counts;
  uint64_t ownMalformed = 0;  // advertising events the reader passed that did not add up

  bool active(uint64_t forScan) const { return delegate && scanning && scan == forScan; }

  Uptime dueTime(std::chrono::microseconds timestamp) const {
    // Unsigned: the reader keeps timestamps in order, but not within any range.
    uint64_t sinceFirst =
        static_cast<uint64_t>(timestamp.count()) - static_cast<uint64_t>(firstTimestamp->count());
    auto offset = std::chrono::microseconds(static_cast<int64_t>(
        std::min<uint64_t>(sinceFirst, static_cast<uint64_t>(kLatestOffset.count()))));
    if (options.speed == 1.0) return *origin + offset;
    double scaled = std::min(static_cast<double>(offset.count()) / options.speed,
                             static_cast<double>(kLatestOffset.count()));
    return *origin +
           std::chrono::round<Uptime::duration>(std::chrono::duration<double, std::micro>(scaled));
  }

  // Reads ahead one event; false at the end of what can be read.
  bool readNext() {
    if (hasNext) return true;
    if (!reader || counts.finished) return false;
    hasNext = reader->next(next);
    if (!hasNext) {
      counts.finished = true;
      return false;
    }
    if (!firstTimestamp) firstTimestamp = next.timestamp;
    return true;
  }

  void publish() {
    if (reader) {
      counts.records = reader->counts().records;
      counts.malformed = reader->counts().skippedReports + ownMalformed;
    }
    std::lock_guard lock(progress->mutex_);
    progress->counts_ = counts;
  }

  void countFrame(const AdvertisingData& data) {
    auto entry = data.serviceData.find("FEAA");
    if (entry == data.serviceData.end()) return;
    switch (BeaconInfo::frameTypeForFrame(std::span<const uint8_t>(entry->second))) {
      case FrameType::UIDFrameType:
        ++counts.uidFrames;
        break;
      case FrameType::EIDFrameType:
        ++counts.eidFrames;
        break;
      case FrameType::TelemetryFrameType:
        ++counts.telemetryFrames;
        break;
      case FrameType::URLFrameType:
        ++counts.urlFrames;
        break;
      case FrameType::UnknownFrameType:
        ++counts.unknownFrames;
        break;
    }
  }

  bool isWanted(const AdvertisingData& data) const {
    if (!wanted) return true;
    for (uint16_t uuid : data.serviceUUIDs)
      if (wanted->contains(uuid)) return true;
    for (const auto& [uuid, bytes] : data.serviceData)
      if (auto value = shortServiceUUID(uuid); value && wanted->contains(*value)) return true;
    return false;
  }

  const PeripheralIdentifier& identifierFor(const std::array<uint8_t, 6>& address) {
    auto [it, inserted] = identifiers.try_emplace(addressKey(address));
    if (inserted) it->second = BluetoothAddress::fromLittleEndian(address).peripheralIdentifier();
    return it->second;
  }

  // Tells the delegate of the event's advertisements; stops early when a
  // delegate call ended the scan or the central.
  void deliver(const CaptureFileReader::Event& event, uint64_t forScan) {
    auto reports = AdvertisingReport::fromEvent(event.bytes);
    if (!reports) {
      ++ownMalformed;
      return;
    }
    for (AdvertisingReport& report : *reports) {
      ++counts.advertisingReports;
      // A last AD structure that overruns the advertisement leaves the ones
      // before it good, as the kernel and BlueZ read them.
      AdvertisingData data = AdvertisingData::parse(report.data);
      countFrame(data);
      if (!isWanted(data)) continue;
      if (!allowDuplicates && !reported.insert(addressKey(report.address)).second) continue;
      std::optional<ServiceDataMap> serviceData;
      if (!data.serviceData.empty()) serviceData = std::move(data.serviceData);
      // RSSI 127 goes on as it came: the phone platforms report "unavailable" so too.
      delegate->centralManagerDidDiscover(*central, identifierFor(report.address), serviceData,
                                          report.RSSI);
      if (!active(forScan)) return;
    }
  }

  // One step of the replay: every record due by now, then a wake-up for the next.
  static void pump(const std::shared_ptr<Playback>& self, uint64_t forScan) {
    std::lock_guard lock(self->mutex);
    if (!self->active(forScan)) return;
    Uptime now = self->options.clock->uptime();
    int delivered = 0;
    while (self->active(forScan) && self->readNext()) {
      Uptime due = self->dueTime(self->next.timestamp);
      if (due < self->scanStart) {  // came due while no scan ran
        self->hasNext = false;
        continue;
      }
      if (due > now) {
        self->queue->asyncAfter(due - now, [self, forScan] { pump(self, forScan); });
        break;
      }
      if (++delivered > kDeliveriesPerTask) {
        self->queue->async([self, forScan] { pump(self, forScan); });
        break;
      }
      self->hasNext = false;
      self->deliver(self->next, forScan);
    }
    self->publish();
  }
};

BluetoothCentralFactory CaptureReplayCentral::factory(Options options,
                                                      std::shared_ptr<Progress> progress) {
  return [options = std::move(options), progress = std::move(progress)](
             BluetoothCentralDelegate& delegate,
             std::shared_ptr<DispatchQueue> queue) -> std::unique_ptr<BluetoothCentral> {
    return std::make_unique<CaptureReplayCentral>(options, delegate, std::move(queue), progress);
  };
}

CaptureReplayCentral::CaptureReplayCentral(Options options, BluetoothCentralDelegate& delegate,
                                           std::shared_ptr<DispatchQueue> queue,
                                           std::shared_ptr<Progress> progress)
    : playback_(std::make_shared<Playback>()) {
  Playback& playback = *playback_;
  playback.delegate = &delegate;
  playback.central = this;
  playback.queue = std::move(queue);
  playback.progress = progress ? std::move(progress) : std::make_shared<Progress>();
  playback.options = std::move(options);
  if (!(playback.options.speed > 0)) playback.options.speed = 1.0;

  std::string error;
  playback.reader = CaptureFileReader::open(playback.options.path, error);
  if (playback.reader) {
    playback.state = BluetoothCentralState::poweredOn;
  } else if (playback.options.log) {
    playback.options.log->systemLine("Cannot replay the capture " + playback.options.path.string() +
                                     ": " + error);
  }
  playback.publish();
  // Real stacks report the state once soon after a central is made.
  playback.queue->async([self = playback_] {
    std::lock_guard lock(self->mutex);
    if (self->delegate) self->delegate->centralManagerDidUpdateState(*self->central);
  });
}

CaptureReplayCentral::~CaptureReplayCentral() {
  std::lock_guard lock(playback_->mutex);
  playback_->delegate = nullptr;
  playback_->scanning = false;
  // Queued tasks hold the playback; without this they would keep their own queue alive.
  playback_->queue.reset();
}

BluetoothCentralState CaptureReplayCentral::state() const {
  return playback_->state.load();
}

void CaptureReplayCentral::scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                                              bool allowDuplicates) {
  std::lock_guard lock(playback_->mutex);
  Playback& playback = *playback_;
  if (playback.state != BluetoothCentralState::poweredOn) return;
  playback.wanted.reset();
  if (!serviceUUIDs.empty()) {
    playback.wanted.emplace();
    for (const std::string& uuid : serviceUUIDs) {
      if (auto value = shortServiceUUID(uuid)) playback.wanted->insert(*value);
    }
  }
  playback.allowDuplicates = allowDuplicates;
  playback.reported.clear();
  playback.scanning = true;
  playback.scanStart = playback.options.clock->uptime();
  if (!playback.origin) playback.origin = playback.scanStart;
  uint64_t scan = ++playback.scan;
  playback.queue->async([self = playback_, scan] { Playback::pump(self, scan); });
}

void CaptureReplayCentral::stopScan() {
  std::lock_guard lock(playback_->mutex);
  playback_->scanning = false;
  ++playback_->scan;
}

CaptureReplayCentral::Counts CaptureReplayCentral::counts() const {
  return playback_->progress->counts();
}

}  // namespace vicinix
