#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <fstream>
#include <set>
#include <sstream>

#include "core/property_list.h"
#include "platform/defaults_store_conformance.h"
#include "platform/fake/recording_log.h"
#include "platform/linux/plist_defaults_store.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream contents;
  contents << stream.rdbuf();
  return contents.str();
}

void writeFile(const fs::path& file, const std::string& contents) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << contents;
}

struct PlistDefaultsHarness {
  testing::TemporaryDirectory directory;
  fs::path file = directory.path() / "Library" / "Preferences" / "vicinix.plist";
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  std::shared_ptr<DefaultsStore> store = makePlistDefaultsStore(file, log);
  std::shared_ptr<DefaultsStore> reopen() { return makePlistDefaultsStore(file, log); }
};

}  // namespace

namespace conformance {
INSTANTIATE_TYPED_TEST_SUITE_P(PlistFile, DefaultsStoreConformance, PlistDefaultsHarness);
}  // namespace conformance

namespace {

class PlistDefaultsStoreTest : public ::testing::Test {
 protected:
  std::vector<fs::path> keptAside() const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
      if (entry.path().filename().string().starts_with("vicinix.plist.corrupt-")) {
        found.push_back(entry.path());
      }
    }
    return found;
  }

  testing::TemporaryDirectory directory;
  fs::path file = directory.path() / "Preferences" / "vicinix.plist";
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
};

TEST_F(PlistDefaultsStoreTest, UnusableFilesAreKeptAsideWithOneLineAndDefaultsUsed) {
  const std::vector<std::string> unusable = {
      "this is not a property list",
      R"(<?xml version="1.0"?><plist version="1.0"><array><string>x</string></array></plist>)",
      "",
  };
  std::multiset<std::string> expectedAside;
  for (const auto& contents : unusable) {
    SCOPED_TRACE(contents);
    writeFile(file, contents);
    log->clear();

    auto store = makePlistDefaultsStore(file, log);

    EXPECT_TRUE(store->snapshot().empty());
    ASSERT_EQ(log->systemLines().size(), 1u);
    EXPECT_NE(log->systemLines()[0].find("vicinix.plist.corrupt-"), std::string::npos);
    EXPECT_FALSE(fs::exists(file));
    // Every earlier copy is still there, byte for byte.
    expectedAside.insert(contents);
    std::multiset<std::string> aside;
    for (const auto& path : keptAside()) aside.insert(readFile(path));
    EXPECT_EQ(aside, expectedAside);
  }
}

TEST_F(PlistDefaultsStoreTest, EntriesOfOtherKindsStayInTheFileButAreNotShown) {
  writeFile(file, R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>blob</key><data>AAEC</data>
  <key>nested</key><dict><key>a</key><integer>1</integer></dict>
  <key>mixed</key><array><string>a</string><integer>2</integer></array>
  <key>replaced</key><data>AAEC</data>
  <key>name</key><string>kiosk</string>
</dict></plist>)");
  auto store = makePlistDefaultsStore(file, log);
  EXPECT_EQ(store->snapshot(), (std::map<std::string, DefaultsValue>{{"name", "kiosk"}}));
  EXPECT_TRUE(store->stringArray("mixed").empty());
  EXPECT_TRUE(log->systemLines().empty());

  store->setInteger("replaced", 3);
  ASSERT_TRUE(store->synchronize());

  auto written = PropertyList::fromBytes(readFile(file));
  ASSERT_TRUE(written.has_value());
  const auto& document = *written->get<PlistValue::Dictionary>();
  EXPECT_EQ(document.at("blob"), PlistValue(PlistValue::Data{0, 1, 2}));
  EXPECT_EQ(document.at("nested"), PlistValue(PlistValue::Dictionary{{"a", int64_t{1}}}));
  EXPECT_EQ(document.at("mixed"), PlistValue(PlistValue::Array{"a", int64_t{2}}));
  EXPECT_EQ(document.at("replaced"), PlistValue(int64_t{3}));
  EXPECT_EQ(document.at("name"), PlistValue("kiosk"));
}

TEST_F(PlistDefaultsStoreTest, FailedWriteReturnsFalseAndKeepsEverythingForTheNextTry) {
  std::atomic<bool> failing{true};
  std::atomic<int> writes{0};
  auto store = makePlistDefaultsStore(file, log, [&](const fs::path& path, std::string_view bytes) {
    ++writes;
    return !failing && writeFileAtomically(path, bytes);
  });
  store->setString("campaign", "spring");

  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(store->string("campaign"), "spring");
  EXPECT_FALSE(fs::exists(file));

  failing = false;
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(makePlistDefaultsStore(file, log)->string("campaign"), "spring");

  int before = writes;
  EXPECT_TRUE(store->synchronize());  // nothing changed, nothing written
  EXPECT_EQ(writes, before);
}

TEST_F(PlistDefaultsStoreTest, AtomicWriterReplacesWholeFilesAndFailsCleanly) {
  ASSERT_TRUE(writeFileAtomically(file, "first"));
  ASSERT_TRUE(writeFileAtomically(file, "second"));
  EXPECT_EQ(readFile(file), "second");
  EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()), 1)
      << "no temporary file may be left behind";

  // Running as root, permissions prove nothing; a file where the directory
  // should be stops anyone.
  writeFile(directory.path() / "blocker", "");
  auto blocked = directory.path() / "blocker" / "Preferences" / "vicinix.plist";
  EXPECT_FALSE(writeFileAtomically(blocked, "x"));
  auto store = makePlistDefaultsStore(blocked, log);
  store->setBool("flag", true);
  EXPECT_FALSE(store->synchronize());
  EXPECT_TRUE(store->boolean("flag"));
}

}  // namespace
}  // namespace vicinix
