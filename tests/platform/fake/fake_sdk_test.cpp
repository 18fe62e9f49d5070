#include "platform/fake/fake_sdk.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

// A host that hands FakeSdk its own app-data directory (vicinix-host replay
// does) must find it as it was: only a directory FakeSdk made is removed.
TEST(FakeSdkTest, RemovesOnlyTheAppDataDirectoryItMade) {
  testing::TemporaryDirectory hosts;
  std::ofstream(hosts.path / "settings") << "kept";
  std::filesystem::path made;
  {
    FakeSdk given(FakeSdk::Options{.start = Date{}, .appData = hosts.path, .customize = {}});
    EXPECT_EQ(given.appData(), hosts.path);
    EXPECT_EQ(given.time->now(), Date{});
    FakeSdk own;
    made = own.appData();
    EXPECT_TRUE(std::filesystem::is_directory(made));
  }
  EXPECT_TRUE(std::filesystem::exists(hosts.path / "settings"));
  EXPECT_FALSE(std::filesystem::exists(made));
}

}  // namespace
}  // namespace vicinix
