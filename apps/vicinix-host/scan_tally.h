#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "platform/bluetooth_central.h"
#include "platform/clock.h"

namespace vicinix::host {

// What a field engineer needs to know about a Bluetooth source: per beacon,
// how often its UID or EID frames arrive and the longest silences between
// them, against the scanner's lost timer. It asks its central for an
// Eddystone scan as soon as Bluetooth is on.
class ScanTally final : public BluetoothCentralDelegate {
 public:
  ScanTally(std::shared_ptr<Clock> clock, double lostTimeoutSeconds = 15.0);

  void centralManagerDidUpdateState(BluetoothCentral& central) override;
  void centralManagerDidDiscover(BluetoothCentral& central, const PeripheralIdentifier& peripheral,
                                 const std::optional<ServiceDataMap>& serviceData,
                                 int RSSI) override;

  // The table and a verdict, for a scan that ran until now. Any thread.
  void print(std::ostream& out) const;
  // Beacons whose silences were long enough for the lost timer to fire in between.
  int flappingBeacons() const;

 private:
  struct Beacon {
    int reports = 0;
    double first = 0, last = 0;  // seconds since the start
    double longestGap = 0;
    int losses = 0;  // silences of the lost timeout or more, then heard again
    int strongestRSSI = -128;
  };
  double secondsNow() const;

  std::shared_ptr<Clock> clock_;
  const double lostTimeout_;
  const Uptime start_;
  mutable std::mutex mutex_;
  bool poweredOn_ = false;
  std::optional<double> scanningSince_;
  uint64_t advertisements_ = 0;
  std::map<std::string, uint64_t> frames_;  // by kind
  std::map<std::string, Beacon> beacons_;   // by name
};

}  // namespace vicinix::host
