#include "core/property_list.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace vicinix {
namespace {

TEST(PropertyListTest, EveryValueKindSurvivesTheXmlForm) {
  using namespace std::chrono;
  PlistValue::Dictionary dictionary{
      {"text", "Dobrý den <&>"},
      {"negative", int64_t{-5}},
      {"large", int64_t{1} << 40},
      {"real", 14.5},
      {"flag", true},
      {"date", Date(sys_days{year{2024} / 3 / 1} + hours(8) + seconds(2))},
      {"data", PlistValue::Data{0, 1, 2, 255}},
      {"list", PlistValue::Array{"a", int64_t{1}}},
      {"nested", PlistValue::Dictionary{{"empty", PlistValue::Dictionary{}}}},
  };
  auto xml = PropertyList::toXml(PlistValue(dictionary));
  ASSERT_TRUE(xml);
  EXPECT_NE(xml->find("<?xml"), std::string::npos);
  auto parsed = PropertyList::fromBytes(*xml);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(*parsed, PlistValue(dictionary));
}

TEST(PropertyListTest, DamagedBytesAreRefusedWithoutStoppingTheProgram) {
  for (const char* bytes : {"", "not a plist", "<plist><dict><key>a</key>", "bplist00\x01\x02"}) {
    EXPECT_FALSE(PropertyList::fromBytes(bytes)) << bytes;
  }
  // Found by fuzzing: a string with an embedded NUL once tripped an assertion
  // inside libplist and aborted the host.
  std::ifstream file(std::string(VICINIX_SOURCE_DIR) + "/fuzz/corpus/theme_plist/embedded-nul-string",
                     std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  ASSERT_FALSE(bytes.str().empty());
  (void)PropertyList::fromBytes(bytes.str());
}

TEST(PropertyListTest, DeepNestingIsRefusedNotRecursedInto) {
  std::string xml = "<plist version=\"1.0\">";
  for (int i = 0; i < 300; ++i) xml += "<array>";
  for (int i = 0; i < 300; ++i) xml += "</array>";
  xml += "</plist>";
  EXPECT_FALSE(PropertyList::fromBytes(xml));
}

}  // namespace
}  // namespace vicinix
