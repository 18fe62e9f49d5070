#include "ui/vicinix_info_view.h"

#include <gtest/gtest.h>

#include "support/screen_fixture.h"

namespace vicinix {
namespace {

using InfoViewTest = test::ScreenTest;

// On 320 × 568: the icon is 128 wide; the label wraps at 0.4 × 320 − 32 = 96
// points, ten characters of the 18-point heading font.
TEST_F(InfoViewTest, IconAndMessageStandWhereTheArithmeticPutsThem) {
  struct Case {
    const char* name;
    std::optional<Image> image;
    std::optional<std::string> text;
    double offset;
    Rect icon;
    Rect label;
  } cases[] = {
      // 200 × 100 keeps its proportions: 64 high, centred 0.2 × 64 above the
      // middle less the offset; the text breaks into three lines.
      {"picture",
       FakeToolkit::image(200, 100),
       "Kampaň se nepodařilo načíst.",
       20,
       {96, 219.2, 128, 64},
       {115, 299.2, 90, 64.8}},
      // Without a picture the space is square.
      {"square", std::nullopt, "Ok", 0, {96, 194.4, 128, 128}, {151, 338.4, 18, 21.6}},
      {"no text",
       FakeToolkit::image(100, 150),
       std::nullopt,
       0,
       {96, 149.6, 128, 192},
       {160, 357.6, 0, 0}},
  };
  for (const Case& c : cases) {
    VicinixInfoView info(*kit, c.offset, c.image, c.text);
    EXPECT_EQ(info.view()->frame(), (Rect{0, 0, 320, 568})) << c.name;
    expectFrame(info.iconView()->frame(), c.icon, c.name);
    expectFrame(info.label()->frame(), c.label, c.name);
  }
}

}  // namespace
}  // namespace vicinix
