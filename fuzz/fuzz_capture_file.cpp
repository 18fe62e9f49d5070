// Capture files come from the field, HCI logs and over-the-air sniffer
// captures alike: whatever they hold, reading them must end in events,
// skipped records or a refusal, never a fault.

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "platform/fake/virtual_time.h"
#include "platform/linux/capture/advertising_data.h"
#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/capture/link_layer_advertisement.h"

namespace {

using vicinix::AdvertisingData;
using vicinix::AdvertisingReport;
using vicinix::CaptureFileReader;
using vicinix::CaptureReplayCentral;

void parseEvent(std::span<const uint8_t> event) {
  auto reports = AdvertisingReport::fromEvent(event);
  if (!reports) return;
  for (const AdvertisingReport& report : *reports) {
    AdvertisingData data = AdvertisingData::parse(report.data);
    (void)data.advertisesEddystone();
  }
}

void readAll(const std::filesystem::path& path, CaptureFileReader::Format format) {
  std::string error;
  auto reader = CaptureFileReader::open(path, error, format);
  if (!reader) return;
  CaptureFileReader::Event event;
  while (reader->next(event)) parseEvent(event.bytes);
  if (reader->counts().skipped > reader->counts().records) abort();
}

class Discarding final : public vicinix::BluetoothCentralDelegate {
 public:
  void centralManagerDidUpdateState(vicinix::BluetoothCentral&) override {}
  void centralManagerDidDiscover(vicinix::BluetoothCentral&, const vicinix::PeripheralIdentifier&,
                                 const std::optional<vicinix::ServiceDataMap>& serviceData,
                                 int) override {
    if (serviceData && serviceData->empty()) abort();  // absent, never empty
  }
};

// Played on virtual time, slowed down so that wild clocks reach the far end
// of the timeline: the replay must always get to the end of what it can read.
void replay(const std::filesystem::path& path) {
  auto time = vicinix::VirtualTime::create(vicinix::Date{});
  Discarding delegate;
  CaptureReplayCentral central({.path = path, .clock = time, .log = nullptr, .speed = 0.25},
                               delegate, time->makeSerialQueue("replay"));
  central.scanForPeripherals({"FEAA"}, true);
  time->runAll();
  if (central.state() == vicinix::BluetoothCentralState::poweredOn && !central.counts().finished)
    abort();
}

// One file for the whole run, removed when the fuzzer exits normally.
struct ScratchFile {
  std::filesystem::path path = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-capture-XXXXXX").string();
    int fd = mkstemp(pattern.data());
    if (fd < 0) abort();
    close(fd);
    return std::filesystem::path(pattern);
  }();
  ~ScratchFile() { unlink(path.c_str()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ScratchFile scratch;
  const auto& path = scratch.path;
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, file) != size) abort();
  fclose(file);

  readAll(path, CaptureFileReader::Format::Btsnoop);
  readAll(path, CaptureFileReader::Format::Pcap);
  replay(path);
  // The same bytes as one bare event and as advertising data reach the
  // parsers' corners far sooner than through a file's framing.
  parseEvent({data, size});
  (void)AdvertisingData::parse({data, size});
  // And as one sniffed packet: what comes out must be an event the HCI
  // parsers take whole, since the rest of the road trusts it.
  for (bool coded : {false, true}) {
    std::vector<uint8_t> event;
    if (vicinix::LinkLayerAdvertisement::toEvent({data, size}, -40, coded, event) ==
            vicinix::LinkLayerAdvertisement::Result::Report &&
        !AdvertisingReport::fromEvent(event).value_or(std::vector<AdvertisingReport>{}).size())
      abort();
  }
  return 0;
}
