#include "platform/linux/capture/capture_file_reader.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "platform/linux/capture/btsnoop_file_reader.h"
#include "platform/linux/capture/pcap_file_reader.h"

namespace vicinix {

namespace {

constexpr uint8_t kH4Event = 0x04;
constexpr uint8_t kLEMetaEvent = 0x3e;
constexpr uint8_t kLegacyReport = 0x02;
constexpr uint8_t kExtendedReport = 0x0d;

bool startsLikeBtsnoop(const std::filesystem::path& path) {
  std::array<char, 8> magic{};
  std::ifstream file(path, std::ios::binary);
  return file.read(magic.data(), magic.size()) &&
         std::equal(magic.begin(), magic.end(), BtsnoopFileReader::kMagic.begin());
}

}  // namespace

std::unique_ptr<CaptureFileReader> CaptureFileReader::open(const std::filesystem::path& path,
                                                           std::string& error, Format format) {
  if (format == Format::Detect) format = startsLikeBtsnoop(path) ? Format::Btsnoop : Format::Pcap;
  if (format == Format::Btsnoop) return BtsnoopFileReader::open(path, error);
  return PcapFileReader::open(path, error);
}

bool CaptureFileReader::next(Event& event) {
  for (;;) {
    Record record;
    Packet packet = readRecord(record);
    if (packet == Packet::End) return false;
    ++counts_.records;
    if (packet == Packet::Other) continue;
    // The event's own length byte must account for exactly the bytes the
    // record holds; otherwise one of the two lengths is lying.
    const auto& bytes = record.event;
    if (packet == Packet::Malformed || bytes.size() < 2 || bytes[1] + 2u != bytes.size()) {
      ++counts_.skipped;
      if (bytes.size() < 3 ||
          (bytes[0] == kLEMetaEvent && (bytes[2] == kLegacyReport || bytes[2] == kExtendedReport)))
        ++counts_.skippedReports;
      continue;
    }
    // Capture clocks get stepped by NTP; replay must never run backwards.
    last_ = std::max(last_, record.timestamp);
    event.timestamp = last_;
    event.bytes.assign(bytes.begin(), bytes.end());
    return true;
  }
}

CaptureFileReader::Packet CaptureFileReader::fromH4(std::span<const uint8_t> packet,
                                                    Record& record) {
  if (packet.empty()) return Packet::Malformed;
  if (packet[0] != kH4Event) return Packet::Other;
  record.event = packet.subspan(1);
  return Packet::Event;
}

}  // namespace vicinix
