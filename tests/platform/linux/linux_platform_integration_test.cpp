#include <gtest/gtest.h>

#include "platform/linux/linux_platform.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

TEST(LinuxPlatform, KeepsItsFilesUnderTheAppDataDirectory) {
  testing::TemporaryDirectory appData;
  Platform platform = makeLinuxPlatform({.appData = appData.path});
  EXPECT_EQ(platform.directories.library, appData.path / "Library");
  EXPECT_TRUE(std::filesystem::is_directory(appData.path / "Documents"));

  platform.defaults->setString("key", "value");
  ASSERT_TRUE(platform.defaults->synchronize());
  EXPECT_TRUE(std::filesystem::exists(appData.path / "Library/Preferences/vicinix.plist"));
}

}  // namespace
}  // namespace vicinix
