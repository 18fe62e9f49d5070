#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/capture/capture_file_reader.h"

namespace vicinix {

// btsnoop logs: what `btmon -w` writes (monitor records) and Android's HCI
// snoop log (UART packets), plus the older unencapsulated HCI flavour.
class BtsnoopFileReader final : public CaptureFileReader {
 public:
  static constexpr std::array<uint8_t, 8> kMagic{'b', 't', 's', 'n', 'o', 'o', 'p', 0};
  enum Datalink : uint32_t { kHci = 1001, kUart = 1002, kMonitor = 2001 };

  static std::unique_ptr<BtsnoopFileReader> open(const std::filesystem::path& path,
                                                 std::string& error);

 private:
  BtsnoopFileReader(std::ifstream file, uint32_t datalink)
      : file_(std::move(file)), datalink_(datalink) {}
  Packet readRecord(Record& record) override;

  std::ifstream file_;
  uint32_t datalink_;
  std::vector<uint8_t> buffer_;
  bool lost_ = false;
};

}  // namespace vicinix
