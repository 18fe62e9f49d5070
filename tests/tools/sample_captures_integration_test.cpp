#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "platform/linux/temporary_directory.h"
#include "support/linux_sdk.h"

namespace vicinix {
namespace {

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The committed samples are what the generator writes today: a change to the
// scene or the writer shows up here until the samples are regenerated with
// `vicinix-sample-captures samples`.
TEST(SampleCapturesTest, CommittedSamplesMatchTheGenerator) {
  testing::TemporaryDirectory directory;
  auto result =
      test::runCommand(std::string(VICINIX_SAMPLE_CAPTURES_BINARY) + " " + directory.path.string());
  ASSERT_EQ(result.exitCode, 0) << result.err;
  for (const char* name :
       {"store-entrance.btsnoop", "store-entrance.pcap", "store-entrance-sniffer-ll.pcap",
        "store-entrance-sniffer-phdr.pcap", "store-entrance-sniffer-nrf.pcap"}) {
    auto committed = std::filesystem::path(VICINIX_SOURCE_DIR) / "samples" / name;
    ASSERT_TRUE(std::filesystem::exists(committed)) << committed;
    EXPECT_TRUE(contents(directory.path / name) == contents(committed)) << name << " differs";
    EXPECT_LT(std::filesystem::file_size(committed), 64u * 1024) << "samples stay small";
  }
}

}  // namespace
}  // namespace vicinix
