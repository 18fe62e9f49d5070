#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/url.h"
#include "beacons/beacon_id.h"

namespace vicinix {

// Service data of one advertisement by service UUID text. The Eddystone entry
// may be keyed "FEAA" or by the full 128-bit UUID, in either case.
using ServiceDataMap = std::map<std::string, std::vector<uint8_t>>;
// A whole telemetry frame, shared between the scanner's cache and sightings.
using TelemetryData = std::shared_ptr<const std::vector<uint8_t>>;

// One sighting of a UID or EID beacon, and the parsers that read Eddystone
// frames. Every parser is a pure function; anything received over the air
// yields a value or nothing, never a fault.
class BeaconInfo {
 public:
  enum class EddystoneFrameType {
    UnknownFrameType,
    UIDFrameType,
    URLFrameType,
    TelemetryFrameType,
    EIDFrameType,
  };

  const BeaconID& beaconID() const { return beaconID_; }
  int txPower() const { return txPower_; }  // calibrated at 0 m, dBm
  int RSSI() const { return RSSI_; }
  // The device's last telemetry frame before this sighting, unparsed; null when none.
  const TelemetryData& telemetry() const { return telemetry_; }
  // "Eddystone BeaconID beacon: <hex>, txPower: -20, RSSI: -70" ("Eddystone EID ..." for EID).
  std::string description() const;

  // The Eddystone entry of `advertisementFrameList`; empty when there is none.
  static std::span<const uint8_t> eddystoneServiceData(
      const ServiceDataMap& advertisementFrameList);
  static EddystoneFrameType frameTypeForFrame(const ServiceDataMap& advertisementFrameList);
  static EddystoneFrameType frameTypeForFrame(std::span<const uint8_t> frameData);
  // A copy of the Eddystone entry; null when there is none.
  static TelemetryData telemetryDataForFrame(const ServiceDataMap& advertisementFrameList);

  // Nothing for a frame of another type or one too short to hold an
  // identifier; both leave a line in the system log.
  static std::optional<BeaconInfo> beaconInfoForUIDFrameData(std::span<const uint8_t> frameData,
                                                             TelemetryData telemetry, int RSSI);
  static std::optional<BeaconInfo> beaconInfoForEIDFrameData(std::span<const uint8_t> frameData,
                                                             TelemetryData telemetry, int RSSI);
  // Trusts the caller's classification: the type byte is not looked at.
  static std::optional<Url> parseURLFromFrame(std::span<const uint8_t> frameData);

  static std::optional<std::string_view> URLPrefixFromByte(uint8_t schemeID);
  static std::optional<std::string_view> encodedStringFromByte(uint8_t charVal);

 private:
  struct IdentifierFrame;
  static std::optional<BeaconInfo> beaconInfoFor(const IdentifierFrame& layout,
                                                 std::span<const uint8_t> frameData,
                                                 TelemetryData telemetry, int RSSI);
  BeaconInfo(BeaconID beaconID, int txPower, int RSSI, TelemetryData telemetry)
      : beaconID_(beaconID), txPower_(txPower), RSSI_(RSSI), telemetry_(std::move(telemetry)) {}

  BeaconID beaconID_;
  int txPower_;
  int RSSI_;
  TelemetryData telemetry_;
};

}  // namespace vicinix
