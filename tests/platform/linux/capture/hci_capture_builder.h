#pragma once

#include <pcap/pcap.h>

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

inline const Bytes kEddystoneUIDFrame = {0x00, 0xEC, 0x0A, 0xFF, 0, 0, 0, 0, 0, 0,
                                         0,    1,    0,    0,    0, 0, 0, 2, 0, 0};
// Flags, the 16-bit UUID list, then the service data.
inline const Bytes kEddystoneAdvert =
    Bytes{2,    0x01, 0x06, 3, 0x03, 0xAA, 0xFE, byte(kEddystoneUIDFrame.size() + 3),
          0x16, 0xAA, 0xFE} +
    kEddystoneUIDFrame;
inline const Bytes kHeartRateAdvert = {2, 0x01, 0x06, 3, 0x03, 0x0D, 0x18};

struct Advert {
  std::array<uint8_t, 6> address;
  int8_t RSSI;
  Bytes data;
  Bytes addressBytes() const { return {address.begin(), address.end()}; }
};

inline Bytes leMetaEvent(uint8_t subevent, const Bytes& parameters) {
  return Bytes{0x3E, byte(parameters.size() + 1), subevent} + parameters;
}

inline Bytes legacyReportEvent(const std::vector<Advert>& adverts) {
  Bytes parameters{byte(adverts.size())};
  for (const Advert& a : adverts)
    parameters = parameters + Bytes{0x00, 0x01} + a.addressBytes() + Bytes{byte(a.data.size())} +
                 a.data + Bytes{byte(a.RSSI)};
  return leMetaEvent(0x02, parameters);
}

inline Bytes extendedReportEvent(const Advert& a) {
  // Count, event type, address type and address; PHYs, SID, TX power, RSSI,
  // periodic interval, direct address; data.
  return leMetaEvent(0x0D, Bytes{1, 0x13, 0x00, 0x01} + a.addressBytes() +
                               Bytes{0x01, 0x00, 0xFF, 0x7F, byte(a.RSSI)} + Bytes(9, 0) +
                               Bytes{byte(a.data.size())} + a.data);
}

struct Packet {
  int64_t unixMicros;
  Bytes event;
  bool command = false;  // then `event` holds an HCI command instead
};

enum class Link { BtsnoopHci, BtsnoopUart, BtsnoopMonitor, PcapH4, PcapH4Direction, PcapMonitor };

inline Bytes bigEndian(uint64_t value, int size) {
  Bytes bytes;
  for (int i = size - 1; i >= 0; --i) bytes.push_back(byte(value >> (8 * i)));
  return bytes;
}

inline Bytes framed(Link link, const Packet& p) {
  Bytes h4{byte(p.command ? 0x01 : 0x04)};
  switch (link) {
    case Link::BtsnoopUart:
    case Link::PcapH4:
      return h4 + p.event;
    case Link::PcapH4Direction:
      return bigEndian(p.command ? 0 : 1, 4) + h4 + p.event;
    case Link::PcapMonitor:
      return bigEndian(p.command ? 2 : 3, 4) + p.event;
    default:
      return p.event;
  }
}

inline void writeCapture(const std::filesystem::path& path, Link link,
                         const std::vector<Packet>& packets) {
  if (link <= Link::BtsnoopMonitor) {
    Bytes file = Bytes{'b', 't', 's', 'n', 'o', 'o', 'p', 0} + bigEndian(1, 4) +
                 bigEndian(std::array{1001, 1002, 2001}[static_cast<int>(link)], 4);
    for (const Packet& p : packets) {
      Bytes data = framed(link, p);
      // Both monitor opcodes and HCI flags happen to be 2 for commands, 3 for events.
      file = file + bigEndian(data.size(), 4) + bigEndian(data.size(), 4) +
             bigEndian(p.command ? 2 : 3, 4) + bigEndian(0, 4) +
             bigEndian(static_cast<uint64_t>(p.unixMicros) + 0x00dcddb30f2f8000, 8) + data;
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), std::streamsize(file.size()));
    return;
  }
  pcap_t* dead = pcap_open_dead(std::array{187, 201, 254}[static_cast<int>(link) - 3], 65535);
  pcap_dumper_t* dumper = pcap_dump_open(dead, path.c_str());
  for (const Packet& p : packets) {
    Bytes data = framed(link, p);
    pcap_pkthdr header{};
    header.ts = {p.unixMicros / 1'000'000, p.unixMicros % 1'000'000};
    header.caplen = header.len = static_cast<bpf_u_int32>(data.size());
    pcap_dump(reinterpret_cast<u_char*>(dumper), &header, data.data());
  }
  pcap_dump_close(dumper);
  pcap_close(dead);
}

}  // namespace vicinix::testing
