#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

namespace vicinix::tools {

// Writes a Bluetooth capture as the field tools do: btsnoop with monitor
// records, as `btmon -w` saves it, or pcap of H4 packets with the direction
// pseudo-header (link type 201), as Wireshark saves it; or what an
// over-the-air sniffer saves: bare link-layer packets (251), with the
// pseudo-header of signal and channel (256), or as the nRF Sniffer's dongles
// frame them (272). Records stream straight to the file.
class CaptureFileWriter {
 public:
  enum class Format { BtsnoopMonitor, PcapH4, PcapLinkLayer, PcapLinkLayerWithHeader, PcapNordic };

  // Check good() before writing.
  CaptureFileWriter(const std::filesystem::path& path, Format format);
  bool good() const { return file_.good(); }

  // Timestamps are microseconds since the Unix epoch. HCI packets are given
  // without their H4 indicator: opcode, length, parameters for a command;
  // code, length, parameters for an event.
  void command(int64_t unixMicros, std::span<const uint8_t> packet);
  void event(int64_t unixMicros, std::span<const uint8_t> packet);
  // A link-layer packet heard on `channel` (37 to 39 primary), from the access
  // address to the CRC. Only the sniffer formats keep these, and keep nothing else.
  void air(int64_t unixMicros, std::span<const uint8_t> packet, int8_t RSSI, uint8_t channel);

  // The controller bookkeeping btmon records before any packet. pcap has no
  // place for it, so these write nothing there.
  void systemNote(int64_t unixMicros, const std::string& text);
  // `address` as written, most significant byte first.
  void newIndex(int64_t unixMicros, const std::array<uint8_t, 6>& address, const std::string& name);
  void openIndex(int64_t unixMicros);

 private:
  void monitorRecord(int64_t unixMicros, uint16_t index, uint16_t opcode,
                     std::span<const uint8_t> payload);
  void h4Record(int64_t unixMicros, bool sent, uint8_t indicator, std::span<const uint8_t> packet);
  void pcapRecord(int64_t unixMicros, std::span<const uint8_t> packet);
  void write(std::span<const uint8_t> bytes);
  bool sniffer() const;

  std::ofstream file_;
  Format format_;
  uint16_t packetCounter_ = 0;
};

}  // namespace vicinix::tools
