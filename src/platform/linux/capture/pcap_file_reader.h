#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/capture/capture_file_reader.h"

struct pcap;

namespace vicinix {

// pcap and pcapng captures of the Bluetooth HCI link types, as Wireshark and
// tcpdump save them, and of the over-the-air sniffers' link-layer types (251,
// 256, and 272 of the nRF Sniffer dongles), whose advertising PDUs come out
// as the HCI reports a controller would have made of them. libpcap does the
// container parsing.
class PcapFileReader final : public CaptureFileReader {
 public:
  static std::unique_ptr<PcapFileReader> open(const std::filesystem::path& path,
                                              std::string& error);
  ~PcapFileReader() override;
  PcapFileReader(const PcapFileReader&) = delete;
  PcapFileReader& operator=(const PcapFileReader&) = delete;

 private:
  PcapFileReader(pcap* handle, int linkType) : handle_(handle), linkType_(linkType) {}
  Packet readRecord(Record& record) override;
  Packet fromSniffer(std::span<const uint8_t> packet, Record& record);

  pcap* handle_;
  int linkType_;
  bool done_ = false;
  std::vector<uint8_t> event_;   // made from a sniffed packet; valid until the next record
  std::vector<uint8_t> padded_;
};

}  // namespace vicinix
