#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/utsname.h>

#include <atomic>
#include <thread>

#include "platform/linux/linux_platform.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Sets an environment variable for one scope and puts the old value back.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnvironment() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(LinuxPlatform, AppDataFollowsTheXdgBaseDirectoryRules) {
  ScopedEnvironment home("HOME", "/home/kiosk");
  {
    ScopedEnvironment dataHome("XDG_DATA_HOME", "/srv/data");
    EXPECT_EQ(defaultAppDataDirectory("signage"), fs::path("/srv/data/signage"));
  }
  {
    ScopedEnvironment relative("XDG_DATA_HOME", "relative/data");
    EXPECT_EQ(defaultAppDataDirectory("signage"), fs::path("/home/kiosk/.local/share/signage"));
  }
  ScopedEnvironment unset("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(defaultAppDataDirectory("signage"), fs::path("/home/kiosk/.local/share/signage"));
}

TEST(LinuxPlatform, AssemblesEveryServiceAroundTheAppDataDirectory) {
  testing::TemporaryDirectory temporary;
  const fs::path& appData = temporary.path();
  Platform platform = makeLinuxPlatform({.appData = appData});
  EXPECT_TRUE(fs::is_directory(appData / "Library"));
  EXPECT_TRUE(fs::is_directory(appData / "Documents"));
  EXPECT_EQ(platform.directories.library, appData / "Library");

  platform.defaults->setString("key", "value");
  ASSERT_TRUE(platform.defaults->synchronize());
  EXPECT_TRUE(fs::exists(appData / "Library" / "Preferences" / "vicinix.plist"));

  utsname names{};
  uname(&names);
  EXPECT_EQ(platform.device.model, names.machine);
  EXPECT_EQ(platform.device.osVersion, names.release);
  EXPECT_FALSE(platform.location->locationServicesEnabled());
  EXPECT_FALSE(platform.location->rangingAvailable());
  EXPECT_FALSE(platform.location->regionMonitoringAvailable());
  EXPECT_LT(std::chrono::abs(platform.clock->now() - std::chrono::system_clock::now()), 1s);
  EXPECT_NE(platform.reachability->targetForAddress(0), nullptr);
}

TEST(LinuxPlatform, MainLoopRunsMainQueueWorkUntilQuit) {
  testing::TemporaryDirectory appData;
  Platform platform = makeLinuxPlatform({.appData = appData.path()});
  // A quit that comes before the loop is not lost.
  quitMainLoop();
  runMainLoop();

  bool ran = false;
  platform.queues->mainQueue()->asyncAfter(5ms, [&] {
    ran = true;
    std::thread(quitMainLoop).join();  // from any thread
  });
  runMainLoop();
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace vicinix
