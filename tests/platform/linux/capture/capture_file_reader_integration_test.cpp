#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "platform/linux/capture/advertising_data.h"
#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/hci_capture_builder.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

using testing::Bytes;
using testing::kEddystoneUIDFrame;
using testing::Link;

const int64_t kStart = 1'700'000'000'123'456;  // 2023-11-14 22:13:20.123456 UTC
const testing::Advert kBeacon{{1, 2, 3, 4, 5, 6}, -60, testing::kEddystoneAdvert};
const testing::Advert kSensor{{9, 8, 7, 6, 5, 4}, 127, testing::kHeartRateAdvert};

// What a replay makes of a capture: "time address RSSI [extended] [uid]" per
// advertisement, "uid" when it carries the beacon's Eddystone frame.
std::vector<std::string> replay(CaptureFileReader& reader) {
  std::vector<std::string> sightings;
  CaptureFileReader::Event event;
  while (reader.next(event)) {
    auto reports = AdvertisingReport::fromEvent(event.bytes);
    for (const AdvertisingReport& r : reports.value()) {
      AdvertisingData data = AdvertisingData::parse(r.data);
      bool uid = data.advertisesEddystone() && data.serviceData["FEAA"] == kEddystoneUIDFrame;
      sightings.push_back(std::to_string(event.timestamp.count() - kStart) + "us " +
                          std::to_string(r.address[0]) + " " + std::to_string(r.RSSI) +
                          (r.extended ? " extended" : "") + (uid ? " uid" : ""));
    }
  }
  return sightings;
}

TEST(CaptureFileReaderTest, ReplaysEveryLinkLayerAndSkipsWhatDoesNotAddUp) {
  testing::TemporaryDirectory directory;
  auto file = directory.path / "capture";
  Bytes wrongLength = testing::legacyReportEvent({kBeacon});
  wrongLength[1] -= 3;
  for (Link link : {Link::BtsnoopHci, Link::BtsnoopUart, Link::BtsnoopMonitor, Link::PcapH4,
                    Link::PcapH4Direction, Link::PcapMonitor}) {
    SCOPED_TRACE(static_cast<int>(link));
    testing::writeCapture(file, link,
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
    EXPECT_EQ(replay(*reader),
              (std::vector<std::string>{"0us 1 -60 uid", "0us 9 127", "1000us 1 -60 extended uid",
                                        "1000us 9 127"}));
    EXPECT_EQ(reader->counts().records, 6u);
    EXPECT_EQ(reader->counts().skipped, 2u);  // the wrong length and the cut-off tail
  }
}

TEST(CaptureFileReaderOpenTest, RefusesFilesWithoutHciPackets) {
  testing::TemporaryDirectory directory;
  auto path = directory.path / "file";
  const Bytes bcsp{'b', 't', 's', 'n', 'o', 'o', 'p', 0, 0, 0, 0, 1, 0, 0, 0x03, 0xEB},
      version2{'b', 't', 's', 'n', 'o', 'o', 'p', 0, 0, 0, 0, 2, 0, 0, 0x03, 0xEA};
  for (const Bytes& contents : {Bytes{'h', 'i'}, Bytes{}, bcsp, version2}) {
    testing::writeFile(path, contents);
    std::string error;
    EXPECT_FALSE(CaptureFileReader::open(path, error)) << ::testing::PrintToString(contents);
    EXPECT_FALSE(error.empty());
  }
}

// BlueZ's own decoder is the reference for what our btsnoop files mean.
std::string btmon(const std::filesystem::path& file, const std::filesystem::path& output) {
  // btmon prints local time; in UTC the expected clock time holds in any zone.
  int status = std::system(
      ("TZ=UTC /usr/bin/btmon -T -r " + file.string() + " >" + output.string() + " 2>&1").c_str());
  std::stringstream text;
  text << std::ifstream(output).rdbuf();
  EXPECT_EQ(status, 0) << text.str();
  return text.str();
}

size_t occurrences(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

TEST(CaptureFileReaderBtmonTest, BlueZDecodesOurBtsnoopFiles) {
  if (access("/usr/bin/btmon", X_OK) != 0) GTEST_SKIP() << "btmon is missing (Debian: bluez)";
  testing::TemporaryDirectory directory;
  auto file = directory.path / "capture.btsnoop";
  testing::writeCapture(file, Link::BtsnoopMonitor,
                        {{kStart, testing::legacyReportEvent({kBeacon})}});
  std::string output = btmon(file, directory.path / "capture.txt");
  // The time of day proves both sides count from the same epoch.
  for (const char* expected :
       {"LE Advertising Report", "Address: 06:05:04:03:02:01",
        "Data: 00ec0aff00000000000000010000000000020000", "RSSI: -60 dBm", "22:13:20.123456"})
    EXPECT_NE(output.find(expected), std::string::npos) << expected << " in\n" << output;

  // The sample: every advertising report our reader counts is one BlueZ decodes, and BlueZ
  // finds nothing invalid in it.
  auto sample = std::filesystem::path(VICINIX_SOURCE_DIR) / "samples/store-entrance.btsnoop";
  std::string error;
  auto reader = CaptureFileReader::open(sample, error);
  ASSERT_TRUE(reader) << error;
  size_t reports = 0;
  CaptureFileReader::Event event;
  while (reader->next(event)) reports += AdvertisingReport::fromEvent(event.bytes).value().size();
  output = btmon(sample, directory.path / "sample.txt");
  EXPECT_EQ(occurrences(output, "LE Advertising Report (0x02)") +
                occurrences(output, "LE Extended Advertising Report (0x0d)"),
            reports);
  EXPECT_EQ(output.find("invalid"), std::string::npos);
}

}  // namespace
}  // namespace vicinix
