#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/linux/capture/capture_file_reader.h"

struct pcap;

namespace vicinix {

// pcap and pcapng captures of the Bluetooth HCI link types, as Wireshark and
// tcpdump save them; libpcap does the container parsing.
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

  pcap* handle_;
  int linkType_;
  bool done_ = false;
};

}  // namespace vicinix
