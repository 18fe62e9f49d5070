#pragma once

#include <vicinix/notification_center.h>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "base/dispatch_timer.h"
#include "beacons/beacon_info.h"
#include "beacons/beacon_scanner_delegate.h"
#include "platform/bluetooth_central.h"
#include "platform/clock.h"

namespace vicinix {

class Sdk;

// Scans Bluetooth LE for Eddystone frames, keeps the beacons in range, each
// with a lost timer, and tells one delegate of finds, updates, losses and URL
// frames. Bluetooth work runs on the serial queue "beacon_operations_queue".
class BeaconScanner final : public BluetoothCentralDelegate {
 public:
  static constexpr const char* kBluetoothStatusChangedNotification =
      "VicinixBluetoothStatusChangedNotification";

  // Uses the installed SDK context, which must outlive the scanner.
  explicit BeaconScanner(double onLostTimeout = 15.0);
  ~BeaconScanner() override;
  BeaconScanner(const BeaconScanner&) = delete;
  BeaconScanner& operator=(const BeaconScanner&) = delete;

  // Takes effect on the scanner's queue, after what is queued there. Any thread.
  void setDelegate(std::shared_ptr<BeaconScannerDelegate> delegate);
  double onLostTimeout() const { return onLostTimeout_; }
  // The platform scanner, for stopping the scan directly. Any thread.
  BluetoothCentral& centralManager() { return *centralManager_; }

  // Starts the scan, or when Bluetooth is not powered on waits for it; posts
  // the Bluetooth status notification (true or false) either way. Returns at
  // once; the work runs on the scanner's queue. Any thread.
  void startScanning();
  // Forgets a waiting start and stops the scan, on the scanner's queue. Any thread.
  void stopScanning();

  // The central's reports, on the scanner's queue.
  void centralManagerDidUpdateState(BluetoothCentral& central) override;
  void centralManagerDidDiscover(BluetoothCentral& central, const PeripheralIdentifier& peripheral,
                                 const std::optional<ServiceDataMap>& serviceData,
                                 int RSSI) override;

 private:
  // The identifier bytes: equal exactly when the descriptions are, without
  // building a string per advertisement.
  struct Key {
    std::array<uint8_t, BeaconID::maximumLength> bytes{};
    uint8_t length = 0;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    size_t operator()(const Key& key) const noexcept;
  };
  struct Entry {
    BeaconInfo beaconInfo;                       // of the first sighting
    std::unique_ptr<DispatchTimer> onLostTimer;  // due no later than lastSeen + timeout
    uint64_t timerGeneration = 0;
    Uptime lastSeen;
    bool losing = false;  // the delegate is being told of the loss
    std::optional<BeaconInfo> foundWhileLosing;
  };
  // Lets queued work and timer blocks outlive the scanner harmlessly.
  struct Life {
    std::recursive_mutex mutex;
    bool alive = true;
  };

  template <class Work>
  DispatchQueue::Task guarded(Work work);
  static Key keyFor(const BeaconID& beaconID);

  void startScanningSynchronized();
  void sighting(const BeaconInfo& beaconInfo);
  void find(const BeaconInfo& beaconInfo, const Key& key);
  void scheduleLostTimer(Entry& entry, const Key& key, Uptime::duration delay);
  void lostTimerFired(const Key& key, uint64_t generation);
  void forget(const Key& key);

  Sdk& sdk_;
  const double onLostTimeout_;
  const Uptime::duration lostAfter_;
  std::shared_ptr<Life> life_ = std::make_shared<Life>();
  std::shared_ptr<DispatchQueue> mainQueue_;
  // Looked up once: posting from the scanner's queue must not take the
  // context's lock, which is held while the context destroys this scanner.
  NotificationCenter& notificationCenter_;
  std::shared_ptr<DispatchQueue> beaconOperationsQueue_;
  std::unique_ptr<BluetoothCentral> centralManager_;

  // Touched on beaconOperationsQueue_ only.
  std::shared_ptr<BeaconScannerDelegate> delegate_;
  bool shouldBeScanning_ = false;
  uint64_t nextTimerGeneration_ = 0;
  std::unordered_map<Key, Entry, KeyHash> seenEddystoneCache_;
  std::unordered_map<PeripheralIdentifier, TelemetryData> deviceIDCache_;
};

}  // namespace vicinix
