#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "platform/linux/capture/advertising_data.h"
#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/hci_capture_builder.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using testing::Bytes;
using testing::Link;

const int64_t kStart = 1'700'000'000'123'456;  // 2023-11-14 22:13:20.123456 UTC
const testing::Advert kBeacon{{1, 2, 3, 4, 5, 6}, -60, testing::kEddystoneAdvert};
const testing::Advert kSensor{{9, 8, 7, 6, 5, 4}, 127, testing::kHeartRateAdvert};

// What a replay makes of a capture: each advertisement and its Eddystone frame.
struct Sighting {
  std::chrono::microseconds at;
  std::array<uint8_t, 6> address;
  int8_t RSSI;
  bool extended;
  bool eddystone;
  Bytes frame;
  bool operator==(const Sighting&) const = default;
};

std::vector<Sighting> replay(CaptureFileReader& reader) {
  std::vector<Sighting> sightings;
  CaptureFileReader::Event event;
  while (reader.next(event)) {
    auto reports = AdvertisingReport::fromEvent(event.bytes);
    for (const AdvertisingReport& r : reports.value()) {
      AdvertisingData data = AdvertisingData::parse(r.data);
      sightings.push_back({event.timestamp, r.address, r.RSSI, r.extended,
                           data.advertisesEddystone(), data.serviceData["FEAA"]});
    }
  }
  return sightings;
}

class CaptureFileReaderTest : public ::testing::TestWithParam<Link> {};

TEST_P(CaptureFileReaderTest, ReplaysAdvertisementsAndSkipsWhatDoesNotAddUp) {
  testing::TemporaryDirectory directory;
  auto file = directory.path / "capture";
  Bytes wrongLength = testing::legacyReportEvent({kBeacon});
  wrongLength[1] -= 3;
  testing::writeCapture(file, GetParam(),
                        {{kStart, testing::legacyReportEvent({kBeacon, kSensor})},
                         {kStart + 10, {0x03, 0x0C, 0x00}, true},  // a reset command
                         {kStart + 1000, testing::extendedReportEvent(kBeacon)},
                         {kStart + 2000, wrongLength},
                         {kStart + 500, testing::legacyReportEvent({kSensor})},  // clock stepped
                         {kStart + 3000, testing::legacyReportEvent({kBeacon})}});
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 10);

  std::string error;
  auto reader = CaptureFileReader::open(file, error);
  ASSERT_TRUE(reader) << error;
  const std::chrono::microseconds t(kStart);
  const Bytes& uid = testing::kEddystoneUIDFrame;
  EXPECT_EQ(replay(*reader), (std::vector<Sighting>{
                                 {t, kBeacon.address, -60, false, true, uid},
                                 {t, kSensor.address, 127, false, false, {}},
                                 {t + 1000us, kBeacon.address, -60, true, true, uid},
                                 {t + 1000us, kSensor.address, 127, false, false, {}},
                             }));
  EXPECT_EQ(reader->counts().records, 6u);
  EXPECT_EQ(reader->counts().skipped, 2u);  // the wrong length and the cut-off tail
}

INSTANTIATE_TEST_SUITE_P(EveryLinkLayer, CaptureFileReaderTest,
                         ::testing::Values(Link::BtsnoopHci, Link::BtsnoopUart,
                                           Link::BtsnoopMonitor, Link::PcapH4,
                                           Link::PcapH4Direction, Link::PcapMonitor));

TEST(CaptureFileReaderOpenTest, RefusesFilesWithoutHciPackets) {
  testing::TemporaryDirectory directory;
  Bytes bcsp = Bytes{'b', 't', 's', 'n', 'o', 'o', 'p', 0, 0, 0, 0, 1, 0, 0, 0x03, 0xEB};
  Bytes version2 = bcsp;
  version2[11] = 2, version2[15] = 0xEA;
  for (const Bytes& contents : {Bytes{'h', 'i'}, Bytes{}, bcsp, version2}) {
    auto path = directory.path / "file";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(contents.data()), std::streamsize(contents.size()));
    std::string error;
    EXPECT_FALSE(CaptureFileReader::open(path, error)) << ::testing::PrintToString(contents);
    EXPECT_FALSE(error.empty());
  }
}

TEST(CaptureFileReaderBtmonTest, BlueZDecodesOurBtsnoopFiles) {
  if (access("/usr/bin/btmon", X_OK) != 0) GTEST_SKIP() << "btmon is missing (Debian: bluez)";
  testing::TemporaryDirectory directory;
  auto file = directory.path / "capture.btsnoop";
  testing::writeCapture(file, Link::BtsnoopMonitor,
                        {{kStart, testing::legacyReportEvent({kBeacon})}});
  FILE* pipe = popen(("/usr/bin/btmon -T -r " + file.string() + " 2>&1").c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string output;
  char chunk[512];
  while (size_t n = fread(chunk, 1, sizeof chunk, pipe)) output.append(chunk, n);
  pclose(pipe);
  // The time of day proves both sides count from the same epoch; the hour is the local zone's.
  for (const char* expected :
       {"LE Advertising Report", "Address: 06:05:04:03:02:01",
        "Data: 00ec0aff00000000000000010000000000020000", "RSSI: -60 dBm", ":13:20.123456"})
    EXPECT_NE(output.find(expected), std::string::npos) << expected << " in\n" << output;
}

}  // namespace
}  // namespace vicinix
