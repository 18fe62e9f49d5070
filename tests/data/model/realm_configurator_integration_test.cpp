#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <cerrno>
#include <fstream>

#include "data/model/event_factory.h"
#include "data/model/realm_configurator.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;

TEST(RealmConfiguratorTest, FirstBuildCreatesTheMarkedDirectoryOnce) {
  FakeSdk env;
  const fs::path directory = env.appData() / "Library" / "Vicinix" / "Realm";
  ASSERT_FALSE(fs::exists(directory));

  const DatabaseConfiguration& configuration = RealmConfigurator::vicinixConfiguration();
  EXPECT_EQ(configuration.fileURL, directory / "vicinix.realm");
  ASSERT_TRUE(fs::is_directory(directory));
  char mark[16] = {};
  ssize_t size = getxattr(directory.c_str(), "user.xdg.robots.backup", mark, sizeof mark);
  if (size >= 0 || errno != ENOTSUP) {  // some filesystems have no user xattrs
    EXPECT_EQ(std::string(mark, std::max<ssize_t>(size, 0)), "false");
  }

  // Built once per context: a later build creates nothing.
  fs::remove_all(env.appData() / "Library");
  EXPECT_EQ(&RealmConfigurator::vicinixConfiguration(), &configuration);
  EXPECT_FALSE(fs::exists(directory));
  EXPECT_TRUE(env.log->systemLines().empty());
}

TEST(RealmConfiguratorTest, AFileInTheWayIsLogged) {
  FakeSdk env;
  env.sdk().setDebugging(true);
  std::ofstream(env.appData() / "Library") << "not a directory";

  EXPECT_EQ(EventFactory::shared().realm(), nullptr);
  auto lines = env.log->systemLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[0].starts_with("Unable to create directory ")) << lines[0];
  EXPECT_EQ(env.log->debugLines().size(), 1u);  // why the database did not open
}

}  // namespace
}  // namespace vicinix
