#include <gtest/gtest.h>
#include <vicinix/vicinix_appearance.h>

#include <fstream>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

const Color kGray = Color::gray();

Color rgb(int r, int g, int b) {
  return {r / 255.0, g / 255.0, b / 255.0, 1};
}

TEST(ColorTest, HexStringsParseLikeTheThemeEditorWritesThem) {
  const Color blue = rgb(0x21, 0x8D, 0xEA);
  using P = std::pair<const char*, Color>;
  for (auto [text, expected] :
       {P{"#218DEA", blue}, P{"218dea", blue}, P{"  #218dea\n", blue}, P{"#FFF", kGray},
        P{"#FF218DEA", kGray}, P{"", kGray}, P{"##218DEA", kGray}, P{"12ZZZZ", rgb(0, 0, 0x12)}}) {
    EXPECT_EQ(Color::fromHexString(text), expected) << '"' << text << '"';
  }
}

class VicinixAppearanceTest : public ::testing::Test {
 protected:
  FakeSdk env;

  void useTheme(PlistValue::Dictionary theme) {
    ASSERT_FALSE(VicinixAppearance::saveTheme(PlistValue(std::move(theme))));
    VicinixAppearance::reloadTheme();
  }
};

TEST_F(VicinixAppearanceTest, DefaultsWithoutAThemeFollowTheirQuirks) {
  EXPECT_EQ(VicinixAppearance::textColor(), kGray) << "the \"#000\" default is gray";
  EXPECT_EQ(VicinixAppearance::buttonColor(), VicinixAppearance::primaryColor());
  EXPECT_FALSE(VicinixAppearance::statusBarStyle());
  EXPECT_EQ(env.log->debugLines().size(), 1u) << "the missing theme file is reported once";
}

TEST_F(VicinixAppearanceTest, ThemeKeysAndTheirDeliberateNames) {
  useTheme({{"primaryColor", "#00FF00"},
            {"textColor", "#000000"},
            {"fontSize", int64_t{20}},
            {"textFontSize", int64_t{30}},
            {"buttonColor", "#FF0000"},
            {"spacing", "16"},
            {"lineHeight", int64_t{0}},
            {"titleColor", int64_t{5}},
            {"headingColor", "blue"},
            {"titleFontSize", -3.5}});
  EXPECT_EQ(VicinixAppearance::buttonColor(), rgb(0, 255, 0)) << "only buttonBackground counts";
  EXPECT_EQ(VicinixAppearance::textColor(), rgb(0, 0, 0));
  EXPECT_EQ(VicinixAppearance::textFontSize(), 20.0) << "read from fontSize";
  EXPECT_EQ(VicinixAppearance::spacing(), 16.0) << "a string is not a number";
  EXPECT_EQ(VicinixAppearance::lineHeight(), 0.0) << "zero is used as it is";
  EXPECT_EQ(VicinixAppearance::titleColor(), rgb(0x2a, 0x2f, 0x40)) << "a number is no colour";
  EXPECT_EQ(VicinixAppearance::headingColor(), kGray) << "a malformed colour is gray";
  EXPECT_EQ(VicinixAppearance::titleFontSize(), -3.5);

  VicinixAppearance::setPrimaryColor(rgb(255, 0, 0));
  EXPECT_EQ(VicinixAppearance::buttonColor(), rgb(255, 0, 0));
}

TEST_F(VicinixAppearanceTest, OverridesWinOverLaterThemes) {
  VicinixAppearance::setSpacing(4);
  VicinixAppearance::setTextColor(rgb(1, 2, 3));
  VicinixAppearance::setStatusBarStyle(StatusBarStyle::dark);
  useTheme({{"spacing", int64_t{30}}, {"textColor", "#FFFFFF"}});
  EXPECT_EQ(VicinixAppearance::spacing(), 4.0);
  EXPECT_EQ(VicinixAppearance::textColor(), rgb(1, 2, 3));
  EXPECT_EQ(VicinixAppearance::statusBarStyle(), StatusBarStyle::dark);
}

TEST_F(VicinixAppearanceTest, BadThemeFileKeepsTheThemeInForce) {
  useTheme({{"spacing", 10.0}});
  std::ofstream(VicinixAppearance::themeFilePath()) << "<plist><dict><key>spa";
  env.log->clear();
  VicinixAppearance::reloadTheme();
  EXPECT_EQ(VicinixAppearance::spacing(), 10.0);
  EXPECT_EQ(env.log->debugLines().size(), 1u);

  ASSERT_FALSE(VicinixAppearance::saveTheme(PlistValue(PlistValue::Array{"not", "a", "dict"})));
  auto loaded = VicinixAppearance::loadTheme();
  ASSERT_TRUE(std::holds_alternative<PlistValue::Dictionary>(loaded));
  EXPECT_TRUE(std::get<PlistValue::Dictionary>(loaded).empty());
}

TEST_F(VicinixAppearanceTest, ThemeSavedEarlierIsInForceFromTheStart) {
  ASSERT_FALSE(VicinixAppearance::saveTheme(PlistValue::Dictionary{{"spacing", 12.0}}));
  // A new context reads the file when its appearance is first used.
  FakeSdk second([&](Platform& platform) { platform.directories = env.sdk().directories(); });
  EXPECT_EQ(VicinixAppearance::spacing(), 12.0);
}

}  // namespace
}  // namespace vicinix
