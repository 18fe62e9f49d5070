#include "hci_packets.h"

#include <cmath>

namespace vicinix::tools {

namespace {

constexpr uint8_t kCommandComplete = 0x0e;
constexpr uint8_t kLEMeta = 0x3e;
constexpr uint8_t kLegacyReport = 0x02;
constexpr uint8_t kExtendedReport = 0x0d;

uint8_t byte(auto value) {
  return static_cast<uint8_t>(value);
}

Bytes littleEndian16(uint16_t value) {
  return {byte(value), byte(value >> 8)};
}

Bytes bigEndian(uint32_t value, int size) {
  Bytes bytes;
  for (int i = size - 1; i >= 0; --i) bytes.push_back(byte(value >> (8 * i)));
  return bytes;
}

Bytes hciAddress(const Address& address) {
  return Bytes(address.rbegin(), address.rend());
}

Bytes leMeta(uint8_t subevent, const Bytes& parameters) {
  return Bytes{kLEMeta, byte(parameters.size() + 1), subevent} + parameters;
}

Bytes adStructure(uint8_t type, const Bytes& payload) {
  return Bytes{byte(payload.size() + 1), type} + payload;
}

}  // namespace

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

namespace {

// The link layer's CRC-24 (polynomial 0x65B, advertising channels start at
// 0x555555) over the PDU in transmission order, least significant bit of each
// byte first; the register goes out most significant bit first.
Bytes linkLayerCRC(const Bytes& pdu) {
  uint32_t crc = 0x555555;
  for (uint8_t value : pdu) {
    for (int bit = 0; bit < 8; ++bit) {
      uint32_t feedback = ((crc >> 23) ^ (value >> bit)) & 1;
      crc = (crc << 1) & 0xffffff;
      if (feedback) crc ^= 0x00065b;
    }
  }
  Bytes out;
  for (int i = 0; i < 24; i += 8) {
    uint8_t reversed = 0;
    for (int bit = 0; bit < 8; ++bit) reversed |= ((crc >> (23 - i - bit)) & 1) << bit;
    out.push_back(reversed);
  }
  return out;
}

Bytes airPacket(uint8_t header, const Bytes& payload) {
  Bytes pdu = Bytes{header, byte(payload.size())} + payload;
  return Bytes{0xd6, 0xbe, 0x89, 0x8e} + pdu + linkLayerCRC(pdu);
}

uint8_t txAdd(const Advertisement& advertisement) {
  return advertisement.addressType == AddressType::Random ? 0x40 : 0x00;
}

}  // namespace

Bytes airAdvertisement(const Advertisement& advertisement, LegacyEvent kind) {
  // PDU types: ADV_IND, ADV_NONCONN_IND, SCAN_RSP.
  uint8_t type = kind == LegacyEvent::Connectable      ? 0x0
                 : kind == LegacyEvent::NonConnectable ? 0x2
                                                       : 0x4;
  return airPacket(type | txAdd(advertisement),
                   hciAddress(advertisement.address) + advertisement.data);
}

Bytes airExtendedPointer() {
  // ADV_EXT_IND: extended header of ADI (set 1) and AuxPtr (channel 8, 1M PHY, 300 us ahead).
  return airPacket(0x07, Bytes{0x06, 0x18, 0x01, 0x10, 0x08, 0x0a, 0x00});
}

Bytes airExtendedAdvertisement(const Advertisement& advertisement) {
  // AUX_ADV_IND, non-connectable and non-scannable: AdvA and ADI, then the data.
  return airPacket(0x07 | txAdd(advertisement), Bytes{0x09, 0x09} +
                                                    hciAddress(advertisement.address) +
                                                    Bytes{0x01, 0x10} + advertisement.data);
}

Bytes legacyAdvertisingReport(const Advertisement& advertisement, LegacyEvent kind) {
  return leMeta(kLegacyReport, Bytes{1, byte(kind), byte(advertisement.addressType)} +
                                   hciAddress(advertisement.address) +
                                   Bytes{byte(advertisement.data.size())} + advertisement.data +
                                   Bytes{byte(advertisement.RSSI)});
}

Bytes extendedAdvertisingReport(const Advertisement& advertisement) {
  // Count; event type (complete, non-connectable); address; primary and
  // secondary PHY, SID, TX power not given, RSSI, no periodic interval, no
  // direct address; data.
  return leMeta(kExtendedReport, Bytes{1, 0x00, 0x00, byte(advertisement.addressType)} +
                                     hciAddress(advertisement.address) +
                                     Bytes{0x01, 0x02, 0x01, 0x7f, byte(advertisement.RSSI)} +
                                     Bytes(9, 0) + Bytes{byte(advertisement.data.size())} +
                                     advertisement.data);
}

Bytes commandComplete(uint16_t opcode) {
  Bytes parameters = Bytes{1} + littleEndian16(opcode) + Bytes{0x00};
  return Bytes{kCommandComplete, byte(parameters.size())} + parameters;
}

Bytes command(uint16_t opcode, const Bytes& parameters) {
  return littleEndian16(opcode) + Bytes{byte(parameters.size())} + parameters;
}

Bytes setScanParameters() {
  // Active; interval and window 0x60 × 0.625 ms; own public address; no filter list.
  return command(kSetScanParameters,
                 Bytes{0x01} + littleEndian16(0x0060) + littleEndian16(0x0060) + Bytes{0x00, 0x00});
}

Bytes setScanEnable(bool enable) {
  return command(kSetScanEnable, {byte(enable), 0x00});  // duplicates not filtered
}

Bytes flags(uint8_t value) {
  return adStructure(0x01, {value});
}

Bytes serviceUUIDs(std::initializer_list<uint16_t> uuids) {
  Bytes payload;
  for (uint16_t uuid : uuids) payload = payload + littleEndian16(uuid);
  return adStructure(0x03, payload);
}

Bytes serviceData(uint16_t uuid, const Bytes& data) {
  return adStructure(0x16, littleEndian16(uuid) + data);
}

Bytes completeName(std::string_view name) {
  return adStructure(0x09, Bytes(name.begin(), name.end()));
}

Bytes manufacturerData(uint16_t company, const Bytes& data) {
  return adStructure(0xff, littleEndian16(company) + data);
}

Bytes eddystoneAdvertisement(const Bytes& frame) {
  // General discoverable, no BR/EDR.
  return flags(0x06) + serviceUUIDs({0xfeaa}) + serviceData(0xfeaa, frame);
}

Bytes uidFrame(int8_t txPower, const std::array<uint8_t, 10>& nameSpace,
               const std::array<uint8_t, 6>& instance) {
  return Bytes{0x00, byte(txPower)} + Bytes(nameSpace.begin(), nameSpace.end()) +
         Bytes(instance.begin(), instance.end()) + Bytes{0x00, 0x00};
}

Bytes eidFrame(int8_t txPower, const std::array<uint8_t, 8>& identifier) {
  return Bytes{0x30, byte(txPower)} + Bytes(identifier.begin(), identifier.end());
}

Bytes telemetryFrame(uint16_t batteryMillivolts, double temperature, uint32_t pduCount,
                     uint32_t uptime) {
  auto fixedPoint = static_cast<uint16_t>(static_cast<int16_t>(std::lround(temperature * 256)));
  return Bytes{0x20, 0x00} + bigEndian(batteryMillivolts, 2) + bigEndian(fixedPoint, 2) +
         bigEndian(pduCount, 4) + bigEndian(uptime, 4);
}

Bytes encryptedTelemetryFrame(const std::array<uint8_t, 12>& cipher, uint16_t salt,
                              uint16_t check) {
  return Bytes{0x20, 0x01} + Bytes(cipher.begin(), cipher.end()) + bigEndian(salt, 2) +
         bigEndian(check, 2);
}

Bytes urlFrame(int8_t txPower, uint8_t scheme, std::string_view encoded) {
  return Bytes{0x10, byte(txPower), scheme} + Bytes(encoded.begin(), encoded.end());
}

}  // namespace vicinix::tools
