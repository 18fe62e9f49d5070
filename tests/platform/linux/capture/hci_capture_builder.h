#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>

namespace vicinix::testing {

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
inline uint8_t byte(auto value) {
  return static_cast<uint8_t>(value);
}
inline Bytes bigEndian(uint64_t value, int size) {
  Bytes bytes;
  for (int i = size - 1; i >= 0; --i) bytes.push_back(byte(value >> (8 * i)));
  return bytes;
}

inline const Bytes kEddystoneUIDFrame = {0, 0xEC, 0x0A, 0xFF, 0, 0, 0, 0, 0, 0,
                                         0, 1,    0,    0,    0, 0, 0, 2, 0, 0};
// Flags, the 16-bit UUID list, then the service data.
inline const Bytes kEddystoneAdvert =
    Bytes{2, 0x01, 0x06, 3, 0x03, 0xAA, 0xFE, 23, 0x16, 0xAA, 0xFE} + kEddystoneUIDFrame;
inline const Bytes kHeartRateAdvert = {2, 0x01, 0x06, 3, 0x03, 0x0D, 0x18};

struct Advert {
  Bytes address;
  int8_t RSSI;
  Bytes data;
};

inline Bytes leMetaEvent(uint8_t subevent, const Bytes& parameters) {
  return Bytes{0x3E, byte(parameters.size() + 1), subevent} + parameters;
}
inline Bytes legacyReportEvent(const std::vector<Advert>& adverts) {
  Bytes parameters{byte(adverts.size())};
  for (const Advert& a : adverts)
    parameters = parameters + Bytes{0x00, 0x01} + a.address + Bytes{byte(a.data.size())} + a.data +
                 Bytes{byte(a.RSSI)};
  return leMetaEvent(0x02, parameters);
}
inline Bytes extendedReportEvent(const Advert& a) {
  // Count, event type, address type and address; PHYs, SID, TX power, RSSI,
  // periodic interval, direct address; data.
  return leMetaEvent(0x0D, Bytes{1, 0x13, 0x00, 0x01} + a.address +
                               Bytes{0x01, 0x00, 0xFF, 0x7F, byte(a.RSSI)} + Bytes(9, 0) +
                               Bytes{byte(a.data.size())} + a.data);
}

inline void writeFile(const std::filesystem::path& path, const Bytes& contents) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(contents.data()), std::streamsize(contents.size()));
}

struct Packet {
  uint64_t unixMicros;
  Bytes event;
  bool command = false;  // then `event` holds an HCI command instead
};

enum class Link { BtsnoopHci, BtsnoopUart, BtsnoopMonitor, PcapH4, PcapH4Direction, PcapMonitor };

// btsnoop, or pcap written big-endian (libpcap reads either byte order).
inline void writeCapture(const std::filesystem::path& path, Link link,
                         const std::vector<Packet>& packets) {
  const bool snoop = link <= Link::BtsnoopMonitor;
  const int type = std::array{1001, 1002, 2001, 187, 201, 254}[static_cast<int>(link)];
  Bytes file = snoop ? Bytes{'b', 't', 's', 'n', 'o', 'o', 'p', 0} + bigEndian(1, 4)
                     : bigEndian(0xA1B2C3D4'00020004, 8) + bigEndian(0, 8) + bigEndian(65535, 4);
  file = file + bigEndian(type, 4);
  for (const Packet& p : packets) {
    // Both monitor opcodes and HCI flags happen to be 2 for commands, 3 for events.
    const Bytes h4{byte(p.command ? 0x01 : 0x04)}, monitor = bigEndian(p.command ? 2 : 3, 4);
    Bytes data = link == Link::BtsnoopUart || link == Link::PcapH4 ? h4 + p.event
                 : link == Link::PcapH4Direction ? bigEndian(!p.command, 4) + h4 + p.event
                 : link == Link::PcapMonitor     ? monitor + p.event
                                                 : p.event;
    Bytes lengths = bigEndian(data.size(), 4) + bigEndian(data.size(), 4);
    file = file +
           (snoop ? lengths + monitor + bigEndian(0, 4) +
                        bigEndian(p.unixMicros + 0x00dcddb30f2f8000, 8)
                  : bigEndian(p.unixMicros / 1'000'000, 4) +
                        bigEndian(p.unixMicros % 1'000'000, 4) + lengths) +
           data;
  }
  writeFile(path, file);
}

}  // namespace vicinix::testing
