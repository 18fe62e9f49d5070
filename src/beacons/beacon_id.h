#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace vicinix {

// The identifier a beacon broadcasts. Its lowercase hexadecimal text is how
// the backend knows the beacon. Made only by BeaconInfo's frame parsers; the
// bytes live inline so a sighting costs no allocation.
class BeaconID {
 public:
  enum class BeaconType { Eddystone, EddystoneEID };

  static constexpr size_t maximumLength = 16;

  BeaconType beaconType() const { return beaconType_; }
  std::span<const uint8_t> beaconID() const { return {bytes_.data(), length_}; }

  // "BeaconID beacon: " and the hexadecimal text. Sightings of one beacon share it.
  std::string description() const;
  // The first 20 hexadecimal characters: the namespace of a UID identifier.
  // An EID identifier is shorter, so it comes back whole and never matches a
  // 20-character namespace the backend configured.
  std::string nameSpace() const;
  // The hexadecimal text from character 20 on; empty for an EID identifier.
  std::string instance() const;

 private:
  friend class BeaconInfo;
  BeaconID(BeaconType type, std::span<const uint8_t> bytes);

  std::array<uint8_t, maximumLength> bytes_{};
  uint8_t length_ = 0;
  BeaconType beaconType_;
};

}  // namespace vicinix
