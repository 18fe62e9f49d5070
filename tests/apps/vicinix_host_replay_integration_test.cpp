// vicinix-host replay over the sample captures, read as an integrator would
// read its output.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/linux/temporary_directory.h"
#include "support/linux_sdk.h"

namespace vicinix {
namespace {

const std::string kSamples = std::string(VICINIX_SOURCE_DIR) + "/samples/";

test::CommandResult replay(const std::string& arguments) {
  testing::TemporaryDirectory dataDir;
  return test::runCommand(std::string(VICINIX_HOST_BINARY) + " replay " + arguments +
                          " --data-dir " + (dataDir.path / "never-written").string());
}

std::vector<nlohmann::json> lines(const std::string& out) {
  std::vector<nlohmann::json> parsed;
  std::istringstream stream(out);
  for (std::string line; std::getline(stream, line);) parsed.push_back(nlohmann::json::parse(line));
  return parsed;
}

int64_t micros(const nlohmann::json& line) {
  return std::llround(line["t"].get<double>() * 1e6);
}

TEST(VicinixHostReplayTest, SampleCaptureTellsEachBeaconsStory) {
  auto result = replay(kSamples + "store-entrance.btsnoop --json");
  ASSERT_EQ(result.exitCode, 0) << result.err;

  // Per identifier: found, updates, lost; again for each later presence.
  std::map<std::string, int> presences;
  std::map<std::string, bool> inRange;
  std::map<std::string, int64_t> lastSighting;
  int withTelemetry = 0, encryptedTelemetry = 0, urls = 0;
  int64_t previous = 0;
  for (const auto& line : lines(result.out)) {
    SCOPED_TRACE(line.dump());
    EXPECT_GE(micros(line), previous) << "lines come in time order";
    previous = micros(line);
    const std::string event = line["event"];
    if (event == "url") {
      EXPECT_EQ(line["url"], "https://example.com/spring");
      ++urls;
      continue;
    }
    const std::string id = line["id"];
    bool eid = line["type"] == "EddystoneEID";
    EXPECT_EQ(line.contains("namespace"), !eid);
    if (!eid) {
      EXPECT_EQ(line["namespace"].get<std::string>() + line["instance"].get<std::string>(), id);
    }
    if (event == "found") {
      EXPECT_FALSE(inRange[id]);
      inRange[id] = true;
      ++presences[id];
    } else if (event == "updated") {
      EXPECT_TRUE(inRange[id]);
    } else {
      ASSERT_EQ(event, "lost");
      EXPECT_TRUE(inRange[id]);
      inRange[id] = false;
      EXPECT_EQ(micros(line), lastSighting[id] + 15'000'000) << "lost exactly 15 s after";
      continue;
    }
    lastSighting[id] = micros(line);
    if (line["telemetry"].is_string()) {
      auto telemetry = line["telemetry"].get<std::string>();
      ++(telemetry.starts_with("2000") ? withTelemetry : encryptedTelemetry);
    }
  }
  for (const auto& [id, present] : inRange) EXPECT_FALSE(present) << id << " never lost";
  EXPECT_EQ(presences, (std::map<std::string, int>{{"edd1ebeac04e5defa0170123456789ab", 1},
                                                   {"edd1ebeac04e5defa0170123456789ac", 2},
                                                   {"f7826da6bc5b71e0893e0000000000c1", 1},
                                                   {"1d4e5f6a7b8c9dae", 1}}));
  EXPECT_GT(withTelemetry, 10);
  EXPECT_GT(encryptedTelemetry, 3);
  EXPECT_GT(urls, 30);
  for (const char* summary : {"697 records", "687 advertising reports", "322 UID", "68 EID",
                              "54 TLM", "55 URL", "0 advertising reports skipped as malformed"})
    EXPECT_NE(result.err.find(summary), std::string::npos) << summary << " in " << result.err;

  // The pcap holds the same traffic without btmon's bookkeeping records.
  auto pcap = replay(kSamples + "store-entrance.pcap --json");
  ASSERT_EQ(pcap.exitCode, 0) << pcap.err;
  EXPECT_EQ(pcap.out, result.out);
}

// Sniffers hear the advertisements themselves, not a controller's reports of
// them: the same scene tells the same story, shifted to the sniffer's first
// packet, with the signal where the format carries one.
TEST(VicinixHostReplayTest, SnifferCapturesTellTheSameStoryAsTheController) {
  auto reference = replay(kSamples + "store-entrance.pcap --json");
  ASSERT_EQ(reference.exitCode, 0) << reference.err;
  auto expected = lines(reference.out);
  ASSERT_FALSE(expected.empty());
  enum class Signal { None, Measured, MeasuredOrZero };
  for (auto [name, signal] : {std::pair{"store-entrance-sniffer-ll.pcap", Signal::None},
                              {"store-entrance-sniffer-phdr.pcap", Signal::Measured},
                              {"store-entrance-sniffer-nrf.pcap", Signal::MeasuredOrZero}}) {
    SCOPED_TRACE(name);
    auto result = replay(kSamples + name + " --json");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    auto actual = lines(result.out);
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i) {
      auto sniffed = actual[i], heard = expected[i];
      SCOPED_TRACE(heard.dump());
      EXPECT_EQ(micros(sniffed) - micros(actual[0]), micros(heard) - micros(expected[0]));
      auto rssi = sniffed["rssi"];
      switch (signal) {
        case Signal::None:
          EXPECT_TRUE(rssi.is_null());
          break;
        case Signal::Measured:
          EXPECT_EQ(rssi, heard["rssi"]);
          break;
        case Signal::MeasuredOrZero:  // the nRF Sniffer always says a strength
          EXPECT_EQ(rssi, heard["rssi"].is_null() ? nlohmann::json(0) : heard["rssi"]);
          break;
      }
      for (auto* key : {"t", "rssi"}) sniffed.erase(key), heard.erase(key);
      EXPECT_EQ(sniffed, heard);
    }
    for (const char* summary : {"687 advertising reports", "0 advertising reports skipped"})
      EXPECT_NE(result.err.find(summary), std::string::npos) << summary << " in " << result.err;
  }
}

// Wireshark's dissectors read our sniffer files as we mean them: every
// advertisement with its advertiser's address, every CRC good. Skipped
// where tshark is not installed; it is too large to install for this alone.
TEST(VicinixHostReplayTest, WiresharkDecodesTheSnifferSamples) {
  if (test::runCommand("command -v tshark").exitCode != 0) GTEST_SKIP() << "no tshark";
  for (const char* name : {"store-entrance-sniffer-ll.pcap", "store-entrance-sniffer-phdr.pcap",
                           "store-entrance-sniffer-nrf.pcap"}) {
    SCOPED_TRACE(name);
    auto tshark = [&](const std::string& filter) {
      auto result = test::runCommand("tshark -r " + kSamples + name + " -Y '" + filter +
                                     "' -T fields -e frame.number 2>/dev/null | wc -l");
      return std::stoi(result.out);
    };
    EXPECT_EQ(tshark("btle.advertising_address"), 687);
    EXPECT_EQ(tshark("btle.crc.incorrect || _ws.malformed"), 0);
  }
}

TEST(VicinixHostReplayTest, ReadableLinesAndUnreadableFiles) {
  auto result = replay(kSamples + "store-entrance.btsnoop");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  for (const char* expected :
       {"    0.651615 s  found    Eddystone edd1ebeac04e5defa017 0123456789ab  txPower -20 dBm  "
        "RSSI -57 dBm\n",
        "  RSSI unavailable", "telemetry: battery 2890 mV, 23.10 °C, 1204027 frames sent",
        "telemetry: encrypted 2001", "  url      https://example.com/spring  RSSI -"})
    EXPECT_NE(result.out.find(expected), std::string::npos) << expected;

  auto missing = replay(kSamples + "no-such-capture.btsnoop");
  EXPECT_NE(missing.exitCode, 0);
  EXPECT_NE(missing.err.find("replay: error: cannot replay " + kSamples + "no-such-capture"),
            std::string::npos)
      << missing.err;
  EXPECT_TRUE(missing.out.empty());
}

// The field check over the same capture: it hears the frames replay counts,
// and the entrance beacon that walks away for half a minute is the one whose
// silence the lost timer would turn into a loss and a new find.
TEST(VicinixHostScanTest, CaptureShowsWhichBeaconTheLostTimerWouldLose) {
  auto result =
      test::runCommand(std::string(VICINIX_HOST_BINARY) + " scan --source replay:" + kSamples +
                       "store-entrance.btsnoop --seconds 600");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Eddystone frames: UID 322 EID 68 TLM 54 URL 55"), std::string::npos)
      << result.out;
  int beacons = 0, reports = 0;
  std::vector<std::string> verdicts;
  std::istringstream stream(result.out);
  std::string line, lastLine;
  while (std::getline(stream, line)) {
    lastLine = line;
    if (!line.starts_with("uid ") && !line.starts_with("eid ")) continue;
    ++beacons;
    std::istringstream columns(line.substr(50));
    int count = 0;
    double rate, first, gap, quiet;
    int losses = 0;
    columns >> count >> rate >> first >> gap >> quiet >> losses;
    reports += count;
    std::string verdict;
    std::getline(columns >> std::ws, verdict);
    verdicts.push_back(verdict);
    EXPECT_EQ(losses > 0, gap >= 15) << line;
  }
  EXPECT_EQ(reports, 322 + 68);
  EXPECT_EQ(std::count(verdicts.begin(), verdicts.end(), "flaps: lost and found again 1 time"), 1)
      << result.out;
  EXPECT_EQ(lastLine, "verdict: the 15 s lost timer flaps for 1 of " + std::to_string(beacons) +
                          " beacons; each loss is followed by a new find and a new campaign "
                          "request");

  auto typo = test::runCommand(std::string(VICINIX_HOST_BINARY) + " scan --source blues");
  EXPECT_EQ(typo.exitCode, 2);
  EXPECT_NE(typo.err.find("unknown Bluetooth source \"blues\""), std::string::npos) << typo.err;
}

}  // namespace
}  // namespace vicinix
