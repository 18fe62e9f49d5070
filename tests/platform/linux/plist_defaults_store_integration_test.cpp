#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <sstream>

#include "platform/defaults_store_conformance.h"
#include "platform/fake/recording_log.h"
#include "platform/linux/plist_defaults_store.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;

// A settings file in a temporary directory that does not exist yet.
struct PlistDefaultsHarness {
  testing::TemporaryDirectory directory;
  fs::path file = directory.path / "Preferences" / "vicinix.plist";
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  std::shared_ptr<DefaultsStore> store = makePlistDefaultsStore(file, log);
  std::shared_ptr<DefaultsStore> reopen() { return makePlistDefaultsStore(file, log); }
};

}  // namespace

namespace conformance {
INSTANTIATE_TYPED_TEST_SUITE_P(PlistFile, DefaultsStoreConformance, PlistDefaultsHarness);
}  // namespace conformance

namespace {

class PlistDefaultsStoreTest : public ::testing::Test, public PlistDefaultsHarness {};

TEST_F(PlistDefaultsStoreTest, UnusableFilesAreKeptAsideWithOneLineAndDefaultsUsed) {
  fs::create_directories(file.parent_path());
  std::multiset<std::string> expectedAside;
  for (std::string contents : {"this is not a property list", "",
                               "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>"}) {
    SCOPED_TRACE(contents);
    std::ofstream(file, std::ios::binary) << contents;
    log->clear();

    EXPECT_TRUE(reopen()->snapshot().empty());
    ASSERT_EQ(log->systemLines().size(), 1u);
    EXPECT_NE(log->systemLines()[0].find("vicinix.plist.corrupt-"), std::string::npos);
    EXPECT_FALSE(fs::exists(file));
    // Every copy kept so far is still there, byte for byte.
    expectedAside.insert(contents);
    std::multiset<std::string> aside;
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
      std::ostringstream bytes;
      bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      aside.insert(bytes.str());
    }
    EXPECT_EQ(aside, expectedAside);
  }
}

TEST_F(PlistDefaultsStoreTest, FailedWriteReturnsFalseAndKeepsEverythingForTheNextTry) {
  // Running as root, permissions prove nothing; a file where the directory
  // should be stops anyone.
  std::ofstream(file.parent_path()) << "blocker";
  store->setString("campaign", "spring");
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(store->string("campaign"), "spring");

  fs::remove(file.parent_path());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(reopen()->string("campaign"), "spring");
  EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1)
      << "no temporary file may be left behind";
}

TEST_F(PlistDefaultsStoreTest, AKilledWritersTemporaryFileGoesAtTheNextStartALiveOnesStays) {
  store->setString("campaign", "spring");
  ASSERT_TRUE(store->synchronize());
  const fs::path abandoned = file.parent_path() / ".vicinix.plist.Ab12Cd";
  const fs::path writing = file.parent_path() / ".vicinix.plist.Ef34Gh";
  std::ofstream(abandoned) << "<?xml version=";
  std::ofstream(writing) << "<?xml version=";
  int held = open(writing.c_str(), O_RDONLY | O_CLOEXEC);  // as a writer at work holds it
  ASSERT_EQ(flock(held, LOCK_EX), 0);

  EXPECT_EQ(reopen()->string("campaign"), "spring");
  EXPECT_FALSE(fs::exists(abandoned));
  EXPECT_TRUE(fs::exists(writing));
  close(held);
}

}  // namespace
}  // namespace vicinix
