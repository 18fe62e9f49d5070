#include "platform/linux/capture/pcap_file_reader.h"

#include <pcap/pcap.h>

namespace vicinix {

namespace {

// The link types are spelled out because older libpcap headers lack some.
constexpr int kH4 = 187;
constexpr int kH4WithDirection = 201;
constexpr int kLinuxMonitor = 254;

constexpr size_t kDirectionHeaderSize = 4;
constexpr size_t kMonitorHeaderSize = 4;  // adapter, opcode; both big-endian
constexpr unsigned kMonitorEvent = 3;

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
  if (linkType != kH4 && linkType != kH4WithDirection && linkType != kLinuxMonitor) {
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
