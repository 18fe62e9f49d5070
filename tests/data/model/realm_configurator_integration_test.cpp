#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <fstream>

#include "data/model/event_factory.h"
#include "data/model/realm_configurator.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;

bool userXattrsWork(const fs::path& directory) {
  fs::path probe = directory / "xattr-probe";
  std::ofstream(probe).put('x');
  bool works = setxattr(probe.c_str(), "user.probe", "1", 1, 0) == 0;
  fs::remove(probe);
  return works;
}

std::string backupMark(const fs::path& directory) {
  char value[16] = {};
  ssize_t size = getxattr(directory.c_str(), "user.xdg.robots.backup", value, sizeof value);
  return size < 0 ? "<none>" : std::string(value, static_cast<size_t>(size));
}

TEST(RealmConfiguratorTest, FirstBuildCreatesTheMarkedDirectoryOnce) {
  FakeSdk env;
  const fs::path directory = env.appData() / "Library" / "Vicinix" / "Realm";
  ASSERT_FALSE(fs::exists(directory));

  const DatabaseConfiguration& configuration = RealmConfigurator::vicinixConfiguration();
  EXPECT_EQ(configuration.fileURL, directory / "vicinix.realm");
  EXPECT_EQ(configuration.schemaVersion, 0u);
  EXPECT_FALSE(configuration.readOnly);
  ASSERT_TRUE(fs::is_directory(directory));
  if (userXattrsWork(env.appData())) {
    EXPECT_EQ(backupMark(directory), "false");
  }

  // Built once per context: a later build neither creates nor re-marks anything.
  fs::remove_all(env.appData() / "Library");
  EXPECT_EQ(&RealmConfigurator::vicinixConfiguration(), &configuration);
  EXPECT_FALSE(fs::exists(directory));
  EXPECT_TRUE(env.log->systemLines().empty());
}

TEST(RealmConfiguratorTest, WhateverIsAlreadyAtThePathIsLeftAlone) {
  {
    FakeSdk env;
    const fs::path directory = RealmConfigurator::realmDirectory();
    fs::create_directories(directory);
    RealmConfigurator::createRealmDirectoryIfNeeded();
    if (userXattrsWork(env.appData())) {
      EXPECT_EQ(backupMark(directory), "<none>");
    }
  }
  FakeSdk env;
  fs::create_directories(env.appData() / "Library" / "Vicinix");
  std::ofstream(RealmConfigurator::realmDirectory()) << "squatter";
  EXPECT_EQ(EventFactory::shared().realm(), nullptr);
  EXPECT_TRUE(env.log->systemLines().empty());
  EXPECT_TRUE(fs::is_regular_file(RealmConfigurator::realmDirectory()));
}

TEST(RealmConfiguratorTest, AFileInTheWayIsLoggedAndLeavesTheStoreInert) {
  FakeSdk env;
  env.sdk().setDebugging(true);
  std::ofstream(env.appData() / "Library") << "not a directory";

  EventFactory& factory = EventFactory::shared();
  auto lines = env.log->systemLines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with("Unable to create directory ")) << lines[0];
  EXPECT_EQ(factory.realm(), nullptr);
  EXPECT_EQ(env.log->debugLines().size(), 1u);  // why the database did not open

  factory.create(EventType::appStarted);
  factory.deleteAllEvents();
  EXPECT_EQ(env.log->debugLines().size(), 1u);
}

}  // namespace
}  // namespace vicinix
