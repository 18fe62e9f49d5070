#include "capture_file_writer.h"

#include <vector>

#include "platform/linux/capture/pcap_link_type.h"

namespace vicinix::tools {

namespace {

// btsnoop counts microseconds from midnight, 1 January of year 0.
constexpr int64_t kBtsnoopUnixEpoch = 0x00dcddb30f2f8000;
constexpr uint32_t kMonitorDatalink = 2001;
using namespace pcap_link_type;

constexpr uint16_t kNoIndex = 0xffff;
enum MonitorOpcode : uint16_t {
  kNewIndex = 0,
  kCommand = 2,
  kEvent = 3,
  kOpenIndex = 8,
  kSystemNote = 12,
};

void bigEndian(std::vector<uint8_t>& into, uint64_t value, int size) {
  for (int i = size - 1; i >= 0; --i) into.push_back(static_cast<uint8_t>(value >> (8 * i)));
}
void littleEndian(std::vector<uint8_t>& into, uint64_t value, int size) {
  for (int i = 0; i < size; ++i) into.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

}  // namespace

CaptureFileWriter::CaptureFileWriter(const std::filesystem::path& path, Format format)
    : file_(path, std::ios::binary | std::ios::trunc), format_(format) {
  std::vector<uint8_t> header;
  if (format_ == Format::BtsnoopMonitor) {
    header = {'b', 't', 's', 'n', 'o', 'o', 'p', 0};
    bigEndian(header, 1, 4);  // version
    bigEndian(header, kMonitorDatalink, 4);
  } else {
    // Little-endian, as Wireshark writes it on the machines it mostly runs on.
    littleEndian(header, 0xa1b2c3d4, 4);
    littleEndian(header, 2, 2);  // version 2.4
    littleEndian(header, 4, 2);
    littleEndian(header, 0, 4);      // time zone
    littleEndian(header, 0, 4);      // accuracy
    littleEndian(header, 65535, 4);  // snap length
    littleEndian(header,
                 format_ == Format::PcapH4                    ? kH4WithDirection
                 : format_ == Format::PcapLinkLayer           ? kLELinkLayer
                 : format_ == Format::PcapLinkLayerWithHeader ? kLELinkLayerWithHeader
                                                              : kNordicBLE,
                 4);
  }
  write(header);
}

bool CaptureFileWriter::sniffer() const {
  return format_ != Format::BtsnoopMonitor && format_ != Format::PcapH4;
}

void CaptureFileWriter::air(int64_t unixMicros, std::span<const uint8_t> packet, int8_t RSSI,
                            uint8_t channel) {
  if (!sniffer()) return;
  std::vector<uint8_t> record;
  bool measured = RSSI != 127;
  if (format_ == Format::PcapLinkLayerWithHeader) {
    // Channel, signal, noise, offenses, reference access address, flags:
    // dewhitened, signal valid, CRC checked and valid, 1M PHY.
    uint16_t flags = 0x0001 | (measured ? 0x0002 : 0) | 0x0400 | 0x0800;
    record = {channel, static_cast<uint8_t>(RSSI), 0x80, 0};
    record.insert(record.end(), packet.begin(), packet.begin() + 4);
    littleEndian(record, flags, 2);
  } else if (format_ == Format::PcapNordic) {
    // Board, length, protocol version 2, counter, EVENT_PACKET; header
    // length, flags (CRC good, 1M PHY), channel, RSSI magnitude, event
    // counter, time since the last packet.
    record = {0x00};
    littleEndian(record, 10 + packet.size(), 2);
    record.push_back(0x02);
    littleEndian(record, packetCounter_++, 2);
    record.push_back(0x06);
    record.insert(record.end(), {10, 0x01, channel, static_cast<uint8_t>(measured ? -RSSI : 0)});
    littleEndian(record, 0, 2);
    littleEndian(record, 0, 4);
  }
  record.insert(record.end(), packet.begin(), packet.end());
  pcapRecord(unixMicros, record);
}

void CaptureFileWriter::command(int64_t unixMicros, std::span<const uint8_t> packet) {
  if (sniffer()) return;
  if (format_ == Format::BtsnoopMonitor) return monitorRecord(unixMicros, 0, kCommand, packet);
  h4Record(unixMicros, true, 0x01, packet);
}

void CaptureFileWriter::event(int64_t unixMicros, std::span<const uint8_t> packet) {
  if (sniffer()) return;
  if (format_ == Format::BtsnoopMonitor) return monitorRecord(unixMicros, 0, kEvent, packet);
  h4Record(unixMicros, false, 0x04, packet);
}

void CaptureFileWriter::systemNote(int64_t unixMicros, const std::string& text) {
  if (format_ != Format::BtsnoopMonitor) return;
  std::vector<uint8_t> payload(text.begin(), text.end());
  payload.push_back(0);
  monitorRecord(unixMicros, kNoIndex, kSystemNote, payload);
}

void CaptureFileWriter::newIndex(int64_t unixMicros, const std::array<uint8_t, 6>& address,
                                 const std::string& name) {
  if (format_ != Format::BtsnoopMonitor) return;
  std::vector<uint8_t> payload = {0x00, 0x01};  // primary controller on USB
  payload.insert(payload.end(), address.rbegin(), address.rend());
  std::string padded = name;
  padded.resize(8, '\0');
  payload.insert(payload.end(), padded.begin(), padded.end());
  monitorRecord(unixMicros, 0, kNewIndex, payload);
}

void CaptureFileWriter::openIndex(int64_t unixMicros) {
  if (format_ != Format::BtsnoopMonitor) return;
  monitorRecord(unixMicros, 0, kOpenIndex, {});
}

void CaptureFileWriter::monitorRecord(int64_t unixMicros, uint16_t index, uint16_t opcode,
                                      std::span<const uint8_t> payload) {
  std::vector<uint8_t> record;
  bigEndian(record, payload.size(), 4);  // original length
  bigEndian(record, payload.size(), 4);  // included length
  bigEndian(record, uint32_t{index} << 16 | opcode, 4);
  bigEndian(record, 0, 4);  // dropped packets
  bigEndian(record, static_cast<uint64_t>(unixMicros + kBtsnoopUnixEpoch), 8);
  record.insert(record.end(), payload.begin(), payload.end());
  write(record);
}

void CaptureFileWriter::h4Record(int64_t unixMicros, bool sent, uint8_t indicator,
                                 std::span<const uint8_t> packet) {
  std::vector<uint8_t> record;
  bigEndian(record, sent ? 0 : 1, 4);  // the direction is big-endian whatever the file's order
  record.push_back(indicator);
  record.insert(record.end(), packet.begin(), packet.end());
  pcapRecord(unixMicros, record);
}

void CaptureFileWriter::pcapRecord(int64_t unixMicros, std::span<const uint8_t> packet) {
  std::vector<uint8_t> record;
  littleEndian(record, static_cast<uint64_t>(unixMicros / 1'000'000), 4);
  littleEndian(record, static_cast<uint64_t>(unixMicros % 1'000'000), 4);
  littleEndian(record, packet.size(), 4);
  littleEndian(record, packet.size(), 4);
  record.insert(record.end(), packet.begin(), packet.end());
  write(record);
}

void CaptureFileWriter::write(std::span<const uint8_t> bytes) {
  file_.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

}  // namespace vicinix::tools
