#include "platform/linux/capture/btsnoop_file_reader.h"

#include <algorithm>

namespace vicinix {

namespace {

constexpr size_t kFileHeaderSize = 16;
constexpr size_t kRecordHeaderSize = 24;
// No HCI or monitor packet comes near this; a bigger length means the framing
// is gone and reading on would only turn noise into records.
constexpr uint32_t kLargestRecord = 1 << 20;
// btsnoop counts from midnight, 1 January of year 0, on the calendar btmon and
// Android both use; this puts it on the Unix epoch.
constexpr int64_t kUnixEpoch = 0x00dcddb30f2f8000;

// Flags of unencapsulated HCI records: bit 1 marks command/event, bit 0 marks
// controller-to-host, so events carry both.
constexpr uint32_t kHciEventFlags = 0x3;
// Monitor records keep the packet kind in the low half of the flags.
constexpr uint32_t kMonitorEvent = 3;

uint32_t bigEndian32(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

bool readExactly(std::ifstream& file, uint8_t* into, size_t size) {
  file.read(reinterpret_cast<char*>(into), static_cast<std::streamsize>(size));
  return static_cast<size_t>(file.gcount()) == size;
}

}  // namespace

std::unique_ptr<BtsnoopFileReader> BtsnoopFileReader::open(const std::filesystem::path& path,
                                                           std::string& error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    error = "cannot open " + path.string();
    return nullptr;
  }
  uint8_t header[kFileHeaderSize];
  if (!readExactly(file, header, sizeof header) ||
      !std::equal(kMagic.begin(), kMagic.end(), header)) {
    error = path.string() + " is not a btsnoop file";
    return nullptr;
  }
  uint32_t version = bigEndian32(header + 8);
  uint32_t datalink = bigEndian32(header + 12);
  if (version != 1) {
    error = "btsnoop version " + std::to_string(version) + " is not supported";
    return nullptr;
  }
  if (datalink != kHci && datalink != kUart && datalink != kMonitor) {
    error = "btsnoop datalink " + std::to_string(datalink) + " carries no HCI packets";
    return nullptr;
  }
  return std::unique_ptr<BtsnoopFileReader>(new BtsnoopFileReader(std::move(file), datalink));
}

CaptureFileReader::Packet BtsnoopFileReader::readRecord(Record& record) {
  if (lost_) return Packet::End;
  uint8_t header[kRecordHeaderSize];
  file_.read(reinterpret_cast<char*>(header), sizeof header);
  if (file_.gcount() == 0) return Packet::End;
  if (static_cast<size_t>(file_.gcount()) != sizeof header) {
    lost_ = true;
    return Packet::Malformed;
  }
  uint32_t originalLength = bigEndian32(header);
  uint32_t includedLength = bigEndian32(header + 4);
  uint32_t flags = bigEndian32(header + 8);
  auto timestamp =
      static_cast<int64_t>(uint64_t{bigEndian32(header + 16)} << 32 | bigEndian32(header + 20));
  if (includedLength > kLargestRecord) {
    lost_ = true;
    return Packet::Malformed;
  }
  buffer_.resize(includedLength);
  if (!readExactly(file_, buffer_.data(), includedLength)) {
    lost_ = true;
    return Packet::Malformed;
  }
  // A record cut by the snap length, or claiming more than it ever had.
  if (includedLength != originalLength) return Packet::Malformed;

  // Unsigned wrap-around keeps absurd timestamps defined; they are the file's word.
  record.timestamp = std::chrono::microseconds(
      static_cast<int64_t>(static_cast<uint64_t>(timestamp) - static_cast<uint64_t>(kUnixEpoch)));
  std::span<const uint8_t> packet(buffer_);
  switch (datalink_) {
    case kUart:
      return fromH4(packet, record);
    case kMonitor:
      if ((flags & 0xffff) != kMonitorEvent) return Packet::Other;
      record.event = packet;
      return Packet::Event;
    default:
      if ((flags & kHciEventFlags) != kHciEventFlags) return Packet::Other;
      record.event = packet;
      return Packet::Event;
  }
}

}  // namespace vicinix
