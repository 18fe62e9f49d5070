#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QScrollArea>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "data/model/campaign_table.h"
#include "support/linux_sdk.h"
#include "support/screen_fixture.h"
#include "ui/qt/qt_scroll_view.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/vicinix_appearance.h"

namespace vicinix {
namespace {

constexpr const char* kParagraph =
    "Show this screen at the till and get **20 % off** any item from the _new spring line_. "
    "See [the full range](https://shop.test/range).";

class QtPageTest : public test::ScreenTestWith<QtToolkit> {
 protected:
  void SetUp() override { kit->setMainScreenSize({390, 844}); }

  void addSpringPage() {
    addBlock("TITLE", 1, {{"text", "Spring collection"}});
    addBlock("HEADING", 2, {{"text", "Why now?"}});
    addBlock("PARAGRAPH", 3, {{"text", kParagraph}});
    addBlock("UNORDERED_LIST", 4,
             {{"text", "Valid today only"}, {"text", "Cannot be combined with **other** offers"}});
    addBlock("BUTTON", 5,
             {{"text", "Browse the collection"}, {"link", "https://shop.test/spring"}});
  }

  static QWidget* widgetOf(const std::shared_ptr<View>& view) {
    return QtViewCore::of(*view)->widget();
  }
};

TEST_F(QtPageTest, WidgetsStandWhereThePageComputedAndLabelsAreAsTallAsTheirText) {
  addSpringPage();
  auto page = loadPage();
  widgetOf(page->view())->show();
  ASSERT_EQ(page->views.size(), 6u);
  const double spacing = VicinixAppearance::spacing();
  auto* scroll = static_cast<QtScrollView*>(page->scrollView.get());

  double bottom = 0;
  for (const auto& view : page->views) {
    Rect f = view->frame();
    QWidget* widget = widgetOf(view);
    EXPECT_EQ(widget->parentWidget(), scroll->scrollArea()->widget());
    EXPECT_EQ(widget->geometry(), QRect(int(std::lround(f.x)), int(std::lround(f.y)),
                                        int(std::lround(f.maxX()) - std::lround(f.x)),
                                        int(std::lround(f.maxY()) - std::lround(f.y))));
    EXPECT_GT(f.y, bottom) << "each block below the one before";
    bottom = f.maxY();
    if (dynamic_cast<Label*>(view.get())) {
      EXPECT_EQ(f.width, 390 - 2 * spacing);
      // Measured again at the width it is drawn at, the text needs exactly this height.
      EXPECT_EQ(view->sizeThatFits({f.width, 10000}).height, f.height);
    }
  }
  EXPECT_EQ(scroll->contentSize(), (Size{390, bottom + spacing}));
  EXPECT_EQ(scroll->scrollArea()->widget()->size(), QSize(390, int(bottom + spacing)));

  // The paragraph wraps onto whole lines five times their natural height
  // (the default theme), its last line drawn at the top of the last band.
  double band = VicinixAppearance::lineHeight() *
                kit->boundingSize("a", Font::system(VicinixAppearance::textFontSize()), 100).height;
  double height = page->views[2]->frame().height;
  EXPECT_GE(height, 2 * band);
  EXPECT_NEAR(std::remainder(height, band), 0, 1.5);
  QImage paragraph = widgetOf(page->views[2])->grab().toImage();
  int lastInk = -1;
  for (int y = 0; y < paragraph.height(); ++y) {
    for (int x = 0; x < paragraph.width(); ++x) {
      if (qGray(paragraph.pixel(x, y)) < 160) lastInk = y;
    }
  }
  EXPECT_GT(lastInk, height - band);
  EXPECT_LT(lastInk, height - band + band / VicinixAppearance::lineHeight());
}

// vicinix-host render, on the data directory this test's SDK stores into.
TEST_F(QtPageTest, RenderDrawsAStoredPageOnTheThemeBackgroundAndDescribesIt) {
  addSpringPage();
  Database& database = *BlockFactory::shared().realm();
  ASSERT_FALSE(
      database.write([&] { CampaignTable(database).addOrUpdate({.id = "c1", .type = "PAGE"}); }));
  ASSERT_FALSE(VicinixAppearance::saveTheme(PlistValue(
      PlistValue::Dictionary{{"backgroundColor", "#FFF4E0"}, {"primaryColor", "#2E7D32"}})));
  const std::string host = VICINIX_HOST_BINARY;
  const std::string data = env.appData().string();
  const std::string png = data + "/page.png", layout = data + "/page.json";

  auto result = test::runCommand(host + " render page --campaign c1 --data-dir '" + data +
                                 "' --size 320x480 --png '" + png + "' --layout '" + layout + "'");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  QImage image(QString::fromStdString(png));
  ASSERT_EQ(image.size(), QSize(320, 480));
  EXPECT_EQ(image.pixelColor(10, 470), QColor("#FFF4E0"))
      << "the theme's background below the page";
  EXPECT_EQ(image.pixelColor(10, 10), QColor("#2E7D32")) << "the bar in the primary colour";
  std::set<QRgb> colours;
  for (int y = 44; y < image.height(); y += 2) {
    for (int x = 0; x < image.width(); x += 2) colours.insert(image.pixel(x, y));
  }
  EXPECT_GT(colours.size(), 20u) << "text and a button are drawn";

  auto tree = nlohmann::json::parse(std::ifstream(layout));
  EXPECT_EQ(tree["kind"], "view");
  EXPECT_EQ(tree["frame"]["width"], 320);
  EXPECT_EQ(tree["backgroundColor"], "#FFF4E0");
  const auto& blocks = tree["subviews"][0]["subviews"][0];
  EXPECT_EQ(blocks["kind"], "scroll");
  const auto& paragraph = blocks["subviews"][2];
  ASSERT_EQ(paragraph["runs"].size(), 7u) << paragraph.dump(2);
  EXPECT_EQ(paragraph["runs"][1]["text"], "20 % off");
  EXPECT_EQ(paragraph["runs"][1]["bold"], true);
  EXPECT_EQ(paragraph["runs"][3]["italic"], true);
  EXPECT_EQ(paragraph["runs"][5]["link"], "https://shop.test/range");
  EXPECT_EQ(paragraph["runs"][5]["text"], "the full range");

  for (auto [arguments, message] :
       {std::pair{"page --campaign nope", "there is no campaign nope in "},
        std::pair{"page --campaign c1 --size 0x480", "--size takes WIDTHxHEIGHT"}}) {
    auto failed = test::runCommand(host + " render " + arguments + " --data-dir '" + data +
                                   "' --png '" + png + "'");
    EXPECT_EQ(failed.exitCode, 2) << arguments;
    EXPECT_NE(failed.err.find(message), std::string::npos) << failed.err;
  }
}

}  // namespace
}  // namespace vicinix
