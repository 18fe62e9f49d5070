#include "base/property_list.h"

#include <gtest/gtest.h>

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
  // Found by fuzzing: a string with an embedded NUL trips an assertion in
  // libplist's copying getter, which aborted the host.
  const char withNul[] = "<plist version=\"1.0\"><string>a\0\0b</string></plist>";
  auto parsed = PropertyList::fromBytes(std::string_view(withNul, sizeof withNul - 1));
  ASSERT_TRUE(parsed);
  ASSERT_TRUE(parsed->get<std::string>());
  EXPECT_EQ(parsed->get<std::string>()->front(), 'a');
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
