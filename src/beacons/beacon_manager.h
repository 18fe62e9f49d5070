#pragma once

#include <memory>

#include "beacons/beacon_info.h"
#include "beacons/beacon_scanner.h"

namespace vicinix {

class Sdk;

// Between sightings and campaigns: owns the scanner, and for each newly found
// beacon of an allowed namespace records it and, when its throttle allows,
// fetches its campaigns and schedules their notifications.
class BeaconManager {
 public:
  explicit BeaconManager(Sdk& sdk);
  ~BeaconManager();
  static BeaconManager& shared();

  BeaconScanner& beaconScanner() { return *beaconScanner_; }

  // Monitors and ranges the configured iBeacon regions where the platform
  // can; on Linux it cannot, and this returns at once.
  void startRangingIBeacons();
  void stopRangingIBeacons();
  void startScanning() { beaconScanner_->startScanning(); }
  void stopScanning() { beaconScanner_->stopScanning(); }

  // The scanner's reports.
  void didFindBeacon(const BeaconInfo& beaconInfo);
  void didLoseBeacon(const BeaconInfo& beaconInfo);

 private:
  class ScannerDelegate;

  void setup();
  void handle(const BeaconInfo& beaconInfo);
  void updateBeaconNotifications(const std::string& namespace_, const std::string& instance);

  Sdk& sdk_;
  std::unique_ptr<BeaconScanner> beaconScanner_;
};

}  // namespace vicinix
