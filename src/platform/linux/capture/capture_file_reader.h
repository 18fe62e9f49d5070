#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vicinix {

// Walks a Bluetooth capture (btsnoop, pcap or pcapng; HCI or over-the-air
// sniffer link types) and hands out the HCI events in it, the only packets
// that carry advertisements; a sniffer's advertising PDUs come out as the
// events a controller makes of them. Anything in the file that does not add
// up is skipped and counted, never trusted.
class CaptureFileReader {
 public:
  enum class Format { Detect, Btsnoop, Pcap };

  struct Event {
    // Since the Unix epoch; never earlier than the event before it.
    std::chrono::microseconds timestamp{0};
    // Event code, parameter length, parameters: no transport header.
    std::vector<uint8_t> bytes;
  };

  struct Counts {
    uint64_t records = 0;  // every record looked at, events or not
    uint64_t skipped = 0;  // records that were malformed or cut short
    // Of those, the ones that held an advertising report, or were too damaged
    // to tell (an unreadable record may have been one).
    uint64_t skippedReports = 0;
  };

  // Null, with the reason in `error`, when the file cannot be read or does not
  // hold HCI packets in a layout this reader knows.
  static std::unique_ptr<CaptureFileReader> open(const std::filesystem::path& path,
                                                 std::string& error,
                                                 Format format = Format::Detect);

  virtual ~CaptureFileReader() = default;

  // False at the end of the file, or where its framing can no longer be followed.
  bool next(Event& event);
  const Counts& counts() const { return counts_; }

 protected:
  enum class Packet { Event, Other, Malformed, End };
  struct Record {
    std::chrono::microseconds timestamp{0};
    std::span<const uint8_t> event;  // valid until the next readRecord()
  };

  virtual Packet readRecord(Record& record) = 0;
  // For link layers that start with the UART packet indicator.
  static Packet fromH4(std::span<const uint8_t> packet, Record& record);

 private:
  Counts counts_;
  std::chrono::microseconds last_{std::chrono::microseconds::min()};
};

}  // namespace vicinix
