#include "platform/linux/capture/link_layer_advertisement.h"

#include <algorithm>

namespace vicinix {

namespace {

constexpr size_t kAccessAddressSize = 4;
constexpr size_t kHeaderSize = 2;
constexpr size_t kCRCSize = 3;
constexpr size_t kAddressSize = 6;
constexpr size_t kLegacyDataLimit = 31;

// PDU types on the advertising channels.
constexpr uint8_t kAdvInd = 0x0;
constexpr uint8_t kAdvNonconnInd = 0x2;
constexpr uint8_t kScanRsp = 0x4;
constexpr uint8_t kAdvScanInd = 0x6;
constexpr uint8_t kExtended = 0x7;  // ADV_EXT_IND, AUX_ADV_IND, AUX_SCAN_RSP, AUX_CHAIN_IND...

constexpr uint8_t kLEMetaEvent = 0x3e;
constexpr uint8_t kLegacyReport = 0x02;
constexpr uint8_t kExtendedReport = 0x0d;
constexpr size_t kExtendedReportHead = 24;
constexpr size_t kEventParameterLimit = 255;

// Extended header flags, in the order their fields follow.
constexpr uint8_t kHasAdvA = 0x01;
constexpr uint8_t kHasTargetA = 0x02;
constexpr uint8_t kHasCTEInfo = 0x04;
constexpr uint8_t kHasADI = 0x08;
constexpr uint8_t kHasAuxPtr = 0x10;
constexpr uint8_t kHasSyncInfo = 0x20;
constexpr uint8_t kHasTxPower = 0x40;

// The legacy report's event type for each legacy PDU type, as a controller numbers them.
int legacyEventType(uint8_t pduType) {
  switch (pduType) {
    case kAdvInd:
      return 0x00;
    case kAdvScanInd:
      return 0x02;
    case kAdvNonconnInd:
      return 0x03;
    case kScanRsp:
      return 0x04;
    default:
      return -1;  // directed, requests, connections: no data to report
  }
}

void finishEvent(std::vector<uint8_t>& event) {
  event[1] = static_cast<uint8_t>(event.size() - 2);
}

LinkLayerAdvertisement::Result extendedToEvent(std::span<const uint8_t> payload, bool randomAddress,
                                               int8_t RSSI, std::vector<uint8_t>& event) {
  using Result = LinkLayerAdvertisement::Result;
  if (payload.empty()) return Result::Malformed;
  size_t headerLength = payload[0] & 0x3f;
  uint8_t mode = payload[0] >> 6;
  if (1 + headerLength > payload.size()) return Result::Malformed;
  auto header = payload.subspan(1, headerLength);
  auto data = payload.subspan(1 + headerLength);
  uint8_t flags = header.empty() ? 0 : header[0];
  size_t offset = header.empty() ? 0 : 1;
  std::span<const uint8_t> address;
  int8_t txPower = 0x7f;
  uint8_t sid = 0xff;
  for (auto [flag, size] : {std::pair{kHasAdvA, kAddressSize}, {kHasTargetA, kAddressSize},
                            {kHasCTEInfo, size_t{1}}, {kHasADI, size_t{2}}, {kHasAuxPtr, size_t{3}},
                            {kHasSyncInfo, size_t{18}}, {kHasTxPower, size_t{1}}}) {
    if (!(flags & flag)) continue;
    if (offset + size > header.size()) return Result::Malformed;
    auto field = header.subspan(offset, size);
    if (flag == kHasAdvA) address = field;
    if (flag == kHasADI) sid = static_cast<uint8_t>(field[1] >> 4);
    if (flag == kHasTxPower) txPower = static_cast<int8_t>(field[0]);
    offset += size;
  }
  // Without the advertiser's address the PDU is a pointer or a chained
  // fragment; with an AuxPtr its data goes on elsewhere. A controller would
  // report neither as a whole advertisement.
  if (address.empty() || (flags & kHasAuxPtr)) return Result::NotAdvertising;
  // Subevent code and report count come before the report.
  if (2 + kExtendedReportHead + data.size() > kEventParameterLimit) return Result::Malformed;

  // Connectable and scannable from the mode; the data is complete.
  uint16_t eventType = (mode & 0x1 ? 0x01 : 0) | (mode & 0x2 ? 0x02 : 0);
  event = {kLEMetaEvent, 0, kExtendedReport, 1, static_cast<uint8_t>(eventType),
           static_cast<uint8_t>(eventType >> 8), static_cast<uint8_t>(randomAddress ? 1 : 0)};
  event.insert(event.end(), address.begin(), address.end());
  uint8_t secondaryPhy = 0x01;
  event.insert(event.end(), {0x01, secondaryPhy, sid, static_cast<uint8_t>(txPower),
                             static_cast<uint8_t>(RSSI), 0, 0, 0, 0, 0, 0, 0, 0, 0,
                             static_cast<uint8_t>(data.size())});
  event.insert(event.end(), data.begin(), data.end());
  finishEvent(event);
  return Result::Report;
}

}  // namespace

LinkLayerAdvertisement::Result LinkLayerAdvertisement::toEvent(std::span<const uint8_t> packet,
                                                               int8_t RSSI, bool codedPhy,
                                                               std::vector<uint8_t>& event) {
  size_t prefix = kAccessAddressSize + (codedPhy ? 1 : 0);
  if (packet.size() < prefix + kHeaderSize + kCRCSize) return Result::Malformed;
  uint32_t accessAddress = static_cast<uint32_t>(packet[0]) | packet[1] << 8 | packet[2] << 16 |
                           static_cast<uint32_t>(packet[3]) << 24;
  if (accessAddress != kAdvertisingAccessAddress) return Result::NotAdvertising;
  auto pdu = packet.subspan(prefix, packet.size() - prefix - kCRCSize);
  uint8_t pduType = pdu[0] & 0x0f;
  bool randomAddress = (pdu[0] & 0x40) != 0;
  size_t length = pdu[1];
  // The length byte must account for exactly what lies between header and CRC.
  if (kHeaderSize + length != pdu.size()) return Result::Malformed;
  auto payload = pdu.subspan(kHeaderSize);

  if (pduType == kExtended) return extendedToEvent(payload, randomAddress, RSSI, event);
  int eventType = legacyEventType(pduType);
  if (eventType < 0) return Result::NotAdvertising;
  if (payload.size() < kAddressSize || payload.size() - kAddressSize > kLegacyDataLimit)
    return Result::Malformed;
  auto data = payload.subspan(kAddressSize);
  event = {kLEMetaEvent, 0, kLegacyReport, 1, static_cast<uint8_t>(eventType),
           static_cast<uint8_t>(randomAddress ? 1 : 0)};
  event.insert(event.end(), payload.begin(), payload.begin() + kAddressSize);
  event.push_back(static_cast<uint8_t>(data.size()));
  event.insert(event.end(), data.begin(), data.end());
  event.push_back(static_cast<uint8_t>(RSSI));
  finishEvent(event);
  return Result::Report;
}

}  // namespace vicinix
