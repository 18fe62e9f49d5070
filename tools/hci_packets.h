#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

// Builders for the HCI packets and advertising data a scanning controller
// produces, for the capture tools and benchmarks.
namespace vicinix::tools {

using Bytes = std::vector<uint8_t>;
// As written, most significant byte first: {0xC0, 0xFF, 0xEE, 0, 0, 1} is C0:FF:EE:00:00:01.
using Address = std::array<uint8_t, 6>;

Bytes operator+(Bytes a, const Bytes& b);

enum class AddressType : uint8_t { Public = 0, Random = 1 };
// Legacy advertising PDU kinds, as the legacy report numbers them.
enum class LegacyEvent : uint8_t { Connectable = 0x00, NonConnectable = 0x03, ScanResponse = 0x04 };

constexpr int8_t kRSSIUnavailable = 127;

struct Advertisement {
  Address address{};
  AddressType addressType = AddressType::Random;
  int8_t RSSI = kRSSIUnavailable;
  Bytes data;  // AD structures
};

// HCI events: code, length, parameters.
Bytes legacyAdvertisingReport(const Advertisement& advertisement, LegacyEvent kind);
// A non-connectable, non-scannable extended advertisement received on LE 1M then LE 2M.
Bytes extendedAdvertisingReport(const Advertisement& advertisement);
Bytes commandComplete(uint16_t opcode);

// The same advertisements as an over-the-air sniffer hears them: access
// address, link-layer header, payload, CRC. An extended one is the primary
// channel's pointer (no address, no data) and the AUX_ADV_IND it points to.
Bytes airAdvertisement(const Advertisement& advertisement, LegacyEvent kind);
Bytes airExtendedPointer();
Bytes airExtendedAdvertisement(const Advertisement& advertisement);

// HCI commands: opcode, length, parameters.
Bytes command(uint16_t opcode, const Bytes& parameters);
Bytes setScanParameters();  // active, 60 ms window every 60 ms
Bytes setScanEnable(bool enable);
inline constexpr uint16_t kSetScanParameters = 0x200B;
inline constexpr uint16_t kSetScanEnable = 0x200C;

// AD structures.
Bytes flags(uint8_t value);
Bytes serviceUUIDs(std::initializer_list<uint16_t> uuids);
Bytes serviceData(uint16_t uuid, const Bytes& data);
Bytes completeName(std::string_view name);
Bytes manufacturerData(uint16_t company, const Bytes& data);

// Eddystone frames (the service data of UUID 0xFEAA) and the advertisement
// that carries one: flags, the UUID list, the frame.
Bytes eddystoneAdvertisement(const Bytes& frame);
Bytes uidFrame(int8_t txPower, const std::array<uint8_t, 10>& nameSpace,
               const std::array<uint8_t, 6>& instance);
Bytes eidFrame(int8_t txPower, const std::array<uint8_t, 8>& identifier);
// Unencrypted (version 0) telemetry; `temperature` in °C, `uptime` in 0.1 s.
Bytes telemetryFrame(uint16_t batteryMillivolts, double temperature, uint32_t pduCount,
                     uint32_t uptime);
// Encrypted (version 1) telemetry, as EID beacons send it: opaque to all but the owner.
Bytes encryptedTelemetryFrame(const std::array<uint8_t, 12>& cipher, uint16_t salt, uint16_t check);
// `encoded` already holds the expansion codes, e.g. "example" "\x00" "spring".
Bytes urlFrame(int8_t txPower, uint8_t scheme, std::string_view encoded);

}  // namespace vicinix::tools
