#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vicinix {

// Turns an advertising PDU heard over the air (by a sniffer, not a host's
// controller) into the HCI LE advertising report event the controller would
// have sent for it, so that sniffer captures replay through the same road as
// HCI ones.
class LinkLayerAdvertisement {
 public:
  enum class Result {
    Report,         // `event` holds one whole HCI event: code, length, parameters
    NotAdvertising, // a data-channel packet, a request, or an advertisement pointing elsewhere
    Malformed,
  };

  static constexpr uint32_t kAdvertisingAccessAddress = 0x8e89bed6;
  static constexpr int8_t kRSSIUnavailable = 127;

  // `packet` starts at the access address and ends with the CRC, as link
  // types 251, 256 and 272 carry it. On the LE Coded PHY a coding indicator
  // byte follows the access address.
  static Result toEvent(std::span<const uint8_t> packet, int8_t RSSI, bool codedPhy,
                        std::vector<uint8_t>& event);
};

}  // namespace vicinix
