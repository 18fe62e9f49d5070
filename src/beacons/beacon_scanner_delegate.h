#pragma once

#include "base/url.h"
#include "beacons/beacon_info.h"

namespace vicinix {

class BeaconScanner;

// Told what the scanner sees. Find, update and URL calls arrive on the
// scanner's queue; the loss call on the main queue.
class BeaconScannerDelegate {
 public:
  virtual ~BeaconScannerDelegate() = default;
  // First sighting of an identifier that is not in range.
  virtual void didFindBeacon(BeaconScanner& beaconScanner, const BeaconInfo& beaconInfo) = 0;
  // No sighting for the lost timeout; `beaconInfo` is the one didFindBeacon had.
  virtual void didLoseBeacon(BeaconScanner& beaconScanner, const BeaconInfo& beaconInfo) = 0;
  // A later sighting of a beacon in range.
  virtual void didUpdateBeacon(BeaconScanner& beaconScanner, const BeaconInfo& beaconInfo) = 0;
  // Every URL frame that decodes.
  virtual void didObserveURLBeacon(BeaconScanner& beaconScanner, const Url& URL, int RSSI) = 0;
};

}  // namespace vicinix
