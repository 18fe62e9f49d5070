#include "platform/linux/capture/pcap_file_reader.h"

#include <pcap/pcap.h>

#include "platform/linux/capture/link_layer_advertisement.h"
#include "platform/linux/capture/pcap_link_type.h"

namespace vicinix {

namespace {

using namespace pcap_link_type;

constexpr size_t kDirectionHeaderSize = 4;
constexpr size_t kMonitorHeaderSize = 4;  // adapter, opcode; both big-endian
constexpr unsigned kMonitorEvent = 3;

// Link type 256's pseudo-header: channel, signal and noise power, access
// address offenses, reference access address, flags (little-endian).
constexpr size_t kPseudoHeaderSize = 10;
constexpr unsigned kSignalPowerValid = 0x0002;
constexpr unsigned kCRCChecked = 0x0400;
constexpr unsigned kCRCValid = 0x0800;
constexpr unsigned kPhyShift = 14;
constexpr unsigned kCodedPhy = 2;

// The nRF Sniffer's: board, then the protocol version at byte 3 in every
// version (v1 spends byte 1 on a header length, later ones two on a length),
// packet counter, packet id; an event header of flags, channel, RSSI
// magnitude, event counter, time; then the packet. Version 1 puts a padding
// byte after the link-layer header.
constexpr size_t kNordicHeaderSize = 7;
constexpr size_t kNordicEventHeaderSize = 10;
constexpr uint8_t kNordicAdvertisingPacket = 0x02;  // version 3 on
constexpr uint8_t kNordicPacket = 0x06;
constexpr uint8_t kNordicCRCOk = 0x01;
constexpr unsigned kNordicPhyShift = 4;

bool isSnifferLinkType(int linkType) {
  return linkType == kLELinkLayer || linkType == kLELinkLayerWithHeader || linkType == kNordicBLE;
}

}  // namespace

std::unique_ptr<PcapFileReader> PcapFileReader::open(const std::filesystem::path& path,
                                                     std::string& error) {
  char message[PCAP_ERRBUF_SIZE] = "";
  pcap* handle = pcap_open_offline(path.c_str(), message);
  if (handle == nullptr) {
    error = message;
    return nullptr;
  }
  int linkType = pcap_datalink(handle);
  if (linkType != kH4 && linkType != kH4WithDirection && linkType != kLinuxMonitor &&
      !isSnifferLinkType(linkType)) {
    error = "link type " + std::to_string(linkType) + " carries no HCI packets";
    pcap_close(handle);
    return nullptr;
  }
  return std::unique_ptr<PcapFileReader>(new PcapFileReader(handle, linkType));
}

PcapFileReader::~PcapFileReader() {
  pcap_close(handle_);
}

CaptureFileReader::Packet PcapFileReader::readRecord(Record& record) {
  if (done_) return Packet::End;
  pcap_pkthdr* header = nullptr;
  const u_char* data = nullptr;
  int result = pcap_next_ex(handle_, &header, &data);
  if (result == PCAP_ERROR_BREAK) return Packet::End;
  if (result != 1) {
    // libpcap cannot step past a damaged record, so this one is the last.
    done_ = true;
    return Packet::Malformed;
  }
  if (header->caplen != header->len) return Packet::Malformed;
  // Unsigned so that a pcapng clock far out of range wraps instead of overflowing.
  uint64_t micros = static_cast<uint64_t>(header->ts.tv_sec) * 1'000'000u +
                    static_cast<uint64_t>(header->ts.tv_usec);
  record.timestamp = std::chrono::microseconds(static_cast<int64_t>(micros));
  std::span<const uint8_t> packet(data, header->caplen);
  if (isSnifferLinkType(linkType_)) return fromSniffer(packet, record);
  switch (linkType_) {
    case kH4:
      return fromH4(packet, record);
    case kH4WithDirection:
      if (packet.size() < kDirectionHeaderSize) return Packet::Malformed;
      return fromH4(packet.subspan(kDirectionHeaderSize), record);
    default:
      if (packet.size() < kMonitorHeaderSize) return Packet::Malformed;
      if ((unsigned{packet[2]} << 8 | packet[3]) != kMonitorEvent) return Packet::Other;
      record.event = packet.subspan(kMonitorHeaderSize);
      return Packet::Event;
  }
}

}  // namespace vicinix

namespace vicinix {

CaptureFileReader::Packet PcapFileReader::fromSniffer(std::span<const uint8_t> packet,
                                                      Record& record) {
  int8_t RSSI = LinkLayerAdvertisement::kRSSIUnavailable;
  bool coded = false;
  std::span<const uint8_t> air = packet;
  if (linkType_ == kLELinkLayerWithHeader) {
    if (packet.size() < kPseudoHeaderSize) return Packet::Malformed;
    unsigned flags = packet[8] | unsigned{packet[9]} << 8;
    // A packet whose CRC failed was heard wrong: its bytes cannot be trusted.
    if ((flags & kCRCChecked) && !(flags & kCRCValid)) return Packet::Malformed;
    if (flags & kSignalPowerValid) RSSI = static_cast<int8_t>(packet[1]);
    coded = ((flags >> kPhyShift) & 0x3) == kCodedPhy;
    air = packet.subspan(kPseudoHeaderSize);
  } else if (linkType_ == kNordicBLE) {
    if (packet.size() < kNordicHeaderSize + kNordicEventHeaderSize) return Packet::Malformed;
    uint8_t version = packet[3];
    uint8_t id = packet[6];
    if (id != kNordicPacket && !(version >= 3 && id == kNordicAdvertisingPacket))
      return Packet::Other;
    auto event = packet.subspan(kNordicHeaderSize);
    uint8_t flags = event[1];
    if (!(flags & kNordicCRCOk)) return Packet::Malformed;
    RSSI = static_cast<int8_t>(-static_cast<int>(event[3]));
    coded = ((flags >> kNordicPhyShift) & 0x7) == kCodedPhy;
    air = event.subspan(kNordicEventHeaderSize);
    if (version == 1) {
      // Drop the padding byte behind the two header bytes.
      size_t header = 4 + 2;
      if (air.size() < header + 1) return Packet::Malformed;
      padded_.assign(air.begin(), air.begin() + header);
      padded_.insert(padded_.end(), air.begin() + header + 1, air.end());
      air = padded_;
    }
  }
  switch (LinkLayerAdvertisement::toEvent(air, RSSI, coded, event_)) {
    case LinkLayerAdvertisement::Result::Report:
      record.event = event_;
      return Packet::Event;
    case LinkLayerAdvertisement::Result::NotAdvertising:
      return Packet::Other;
    case LinkLayerAdvertisement::Result::Malformed:
      break;
  }
  return Packet::Malformed;
}

}  // namespace vicinix
