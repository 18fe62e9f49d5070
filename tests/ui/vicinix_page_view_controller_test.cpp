#include "ui/vicinix_page_view_controller.h"

#include <gtest/gtest.h>

#include "core/vicinix_configurator.h"
#include "support/screen_fixture.h"
#include "ui/vicinix_appearance.h"

namespace vicinix {
namespace {

// On the fake's 320-point screen with the default theme: S = 16, labels are
// 288 wide, a character is half its point size wide and a line 1.2 × its
// point size tall; paragraphs and lists take the default line height 5.
class PageTest : public test::ScreenTest {
 protected:
  template <class T = FakeLabel>
  static T& fake(const std::shared_ptr<View>& view) {
    return dynamic_cast<T&>(FakeNode::of(*view));
  }
};

TEST_F(PageTest, EveryBlockStacksUnderTheOneBeforeInItsThemeStyle) {
  VicinixAppearance::setButtonColor({1, 0, 0, 1});
  addBlock("TITLE", 1, {{"text", "Hello"}});
  addBlock("HEADING", 2, {{"text", "Ab"}, {"text", "Cd"}});
  addBlock("PARAGRAPH", 3, {{"text", "Words"}});
  addBlock("VIDEO", 4, {{"src", "https://img.test/v.mp4"}});
  addBlock("ORDERED_LIST", 5,
           {{"text", "c", 3}, {"text", "a", 0}, {"note", "skipped", 1}, {"text", "b", 2}});
  addBlock("UNORDERED_LIST", 6, {{"text", "x"}});
  auto picture = addBlock("IMAGE", 7, {{"src", "https://img.test/p.png"}, {"width", "50"}});
  cachePicture(picture[0], 200, 100);
  addBlock("BUTTON", 8, {{"text", "Go"}, {"link", "https://shop.test"}});
  auto page = loadPage();

  const std::vector<std::pair<std::string, Rect>> expected = {
      {"Hello", {16, 32, 288, 28.8}},  // one gap above the title, one under, one more after
      {"Ab", {16, 76.8, 288, 21.6}},  {"Cd", {16, 106.4, 288, 21.6}}, {"Words", {16, 136, 288, 84}},
      {"1. a", {16, 236, 288, 84}},  // only "text" items count, in sortIndex order
      {"2. b", {16, 328, 288, 84}},   {"3. c", {16, 420, 288, 84}},   {"• x", {16, 520, 288, 84}},
      {"", {80, 620, 160, 80}},  // half the screen, centred, as tall as the picture's proportion
      {"Go", {121, 716, 78, 32.8}},  // the title's size, 4 gaps wider and a gap taller
  };
  ASSERT_EQ(page->views.size(), expected.size()) << FakeNode::of(*page->view()).tree();
  for (size_t i = 0; i < expected.size(); ++i) {
    FakeNode& node = FakeNode::of(*page->views[i]);
    auto* label = dynamic_cast<FakeLabel*>(&node);
    auto* button = dynamic_cast<FakeButton*>(&node);
    EXPECT_EQ(label ? label->text : button ? button->title : "", expected[i].first);
    expectFrame(node.frame(), expected[i].second, expected[i].first);
  }
  // The starting gap plus everything the blocks used.
  EXPECT_DOUBLE_EQ(page->scrollView->contentSize().height, 764.8);
  EXPECT_EQ(page->scrollView->frame(), (Rect{0, 0, 320, 568}));

  const FakeLabel& title = fake(page->views[0]);
  EXPECT_EQ(title.alignment, TextAlignment::center);
  auto& go = fake<FakeButton>(page->views[9]);
  EXPECT_EQ(go.backgroundColor, (Color{1, 0, 0, 1}));
}

TEST_F(PageTest, TopMarginAndTheImageWithoutSourceMoveWhatFollows) {
  using Blocks = std::vector<std::pair<std::string, std::vector<Attr>>>;
  struct Case {
    const char* campaign;
    Blocks before;     // blocks ahead of a closing title "End"
    double endLabelY;  // where that title's label stands
  } cases[] = {
      {"title", {}, 32},
      {"image", {{"IMAGE", {{"src", "https://img.test/a.png"}}}}, 0 + 116 + 16},
      {"video", {{"VIDEO", {}}}, 0 + 16},
      {"empty heading", {{"HEADING", {}}}, 16 + 16},
      // The title above uses 60.8 and leaves y at 76.8; the image without a
      // source then adds 76.8 more.
      {"no src", {{"TITLE", {{"text", "A"}}}, {"IMAGE", {{"width", "50"}}}}, 153.6 + 16},
  };
  for (const Case& c : cases) {
    int64_t index = 0;
    for (const auto& [type, attributes] : c.before) addBlock(type, ++index, attributes, c.campaign);
    addBlock("TITLE", ++index, {{"text", "End"}}, c.campaign);
    auto page = loadPage(c.campaign);
    const auto& end = fake(page->views.back());
    ASSERT_EQ(end.text, "End") << c.campaign;
    EXPECT_DOUBLE_EQ(end.frame().y, c.endLabelY) << c.campaign;
    EXPECT_DOUBLE_EQ(page->scrollView->contentSize().height, c.endLabelY + 28.8 + 16) << c.campaign;
  }
}

TEST_F(PageTest, ImageWidthIsAShareOfTheScreenOrTheMarginsOrAll) {
  struct Case {
    const char* width;  // nullptr: no width attribute
    double x;
    double frameWidth;
  } cases[] = {
      {"50", 80, 160}, {"100", 16, 288}, {nullptr, 16, 288}, {"150", 0, 320}, {"+101", 0, 320}};
  int n = 0;
  for (const Case& c : cases) {
    std::string campaign = "w" + std::to_string(++n);
    std::vector<Attr> attributes = {{"src", ""}};
    if (c.width) attributes.push_back({"width", c.width});
    addBlock("IMAGE", 1, attributes, campaign);
    auto page = loadPage(campaign);
    ASSERT_EQ(page->views.size(), 1u);
    auto& image = fake<FakeImageView>(page->views[0]);
    EXPECT_EQ(image.frame(), (Rect{c.x, 0, c.frameWidth, 100})) << campaign;
    EXPECT_FALSE(image.image);
  }
  EXPECT_TRUE(env.http->requests().empty()) << "an empty source fetches nothing";
}

TEST_F(PageTest, AWidthThatIsNotAWholeNumberStopsTheProgram) {
  for (const char* width : {"50%", "12.5", ""}) {
    std::string campaign = std::string("bad ") + width;
    addBlock("IMAGE", 1, {{"src", "https://img.test/a.png"}, {"width", width}}, campaign);
    EXPECT_DEATH(loadPage(campaign), "not a whole number") << width;
  }
}

TEST_F(PageTest, ALatePictureFillsItsPlaceholderWithoutMovingAnything) {
  auto bytes = FakeImageCodec::pictureBytes(300, 100);
  env.http->replyWith(std::string(bytes.begin(), bytes.end()));
  env.http->setLatency(std::chrono::milliseconds(10));
  addBlock("IMAGE", 1, {{"src", "https://img.test/late.png"}});
  addBlock("BUTTON", 2, {{"text", "Go"}});
  auto page = loadPage();
  auto& image = fake<FakeImageView>(page->views[0]);
  const Rect button = page->views[1]->frame();
  const Size content = page->scrollView->contentSize();
  EXPECT_EQ(image.frame(), (Rect{16, 0, 288, 100}));

  env.time->runAll();
  ASSERT_TRUE(image.image);
  EXPECT_EQ(image.image->width, 300);
  EXPECT_EQ(image.frame(), (Rect{16, 0, 288, 100}));
  EXPECT_EQ(page->views[1]->frame(), button);
  EXPECT_EQ(page->scrollView->contentSize(), content);

  // The name stays taken: another page of the campaign fetches nothing.
  loadPage();
  env.time->runAll();
  EXPECT_EQ(env.http->requests().size(), 1u);
}

TEST_F(PageTest, LineHeightReachesParagraphsAndListsOnly) {
  for (double multiple : {1.0, 2.5}) {
    VicinixAppearance::setLineHeight(multiple);
    std::string campaign = "lh" + std::to_string(multiple);
    addBlock("TITLE", 1, {{"text", "T"}}, campaign);
    addBlock("HEADING", 2, {{"text", "H"}}, campaign);
    addBlock("PARAGRAPH", 3, {{"text", "P"}}, campaign);
    addBlock("UNORDERED_LIST", 4, {{"text", "U"}}, campaign);
    addBlock("ORDERED_LIST", 5, {{"text", "O"}}, campaign);
    auto page = loadPage(campaign);
    ASSERT_EQ(page->views.size(), 5u);
    EXPECT_DOUBLE_EQ(page->views[0]->frame().height, 28.8);
    EXPECT_DOUBLE_EQ(page->views[1]->frame().height, 21.6);
    for (size_t i = 2; i < 5; ++i) {
      const FakeLabel& styled = fake(page->views[i]);
      ASSERT_TRUE(styled.styledText);
      EXPECT_EQ(styled.styledText->lineHeightMultiple, multiple);
      EXPECT_DOUBLE_EQ(styled.frame().height, 16.8 * multiple) << styled.text;
    }
  }
}

TEST_F(PageTest, ButtonsOpenOnlyARealLink) {
  addBlock("BUTTON", 1, {{"text", "Shop"}, {"link", "https://shop.test/a"}});
  addBlock("BUTTON", 2, {{"text", "None"}});
  addBlock("BUTTON", 3, {{"text", "Bad"}, {"link", "not a link"}});
  auto page = loadPage();
  auto buttons = all<FakeButton>(page->view());
  ASSERT_EQ(buttons.size(), 3u);
  for (FakeButton* button : buttons) button->tap();
  EXPECT_EQ(env.application->openedURLs(), std::vector<std::string>{"https://shop.test/a"});

  std::shared_ptr<View> first = page->views[0];
  page.reset();  // a button outliving its page does nothing
  fake<FakeButton>(first).tap();
  EXPECT_EQ(env.application->openedURLs().size(), 1u);
}

TEST_F(PageTest, WithoutACampaignOnlyTheErrorNoticeShows) {
  env.application->setApplicationIconBadgeNumber(5);
  auto page = loadPage(std::nullopt);
  ASSERT_TRUE(page->infoScreen);
  EXPECT_EQ(page->infoScreen->view()->superview(), page->view().get());
  EXPECT_EQ(labelsWithText(page->view(), "Kampaň se nepodařilo načíst."), 1u);
  auto& icon = fake<FakeImageView>(page->infoScreen->iconView());
  EXPECT_EQ(icon.image->width, FakeToolkit::campaignErrorSize.width);
  EXPECT_TRUE(all<FakeScrollView>(page->view()).empty());
  EXPECT_TRUE(page->views.empty());

  page->viewWillAppear(false);
  EXPECT_EQ(env.application->applicationIconBadgeNumber(), 0);
}

TEST_F(PageTest, ADisabledSdkVersionAsksForAnUpdateAboveThePage) {
  const std::string notice = "Aktualizujte prosím aplikaci pro obnovu všech funkcí";
  addBlock("TITLE", 1, {{"text", "T"}});
  EXPECT_EQ(labelsWithText(loadPage()->view(), notice), 0u);

  env.defaults->setInteger("VicinixRequiredSDKVersionDefaultsKey", 1);
  auto page = loadPage();
  EXPECT_EQ(labelsWithText(page->view(), notice), 1u);
  EXPECT_EQ(all<FakeImageView>(page->view()).at(0)->image->height,
            FakeToolkit::updateStateSize.height);
  EXPECT_EQ(page->views.size(), 1u) << "the page is drawn all the same";
}

}  // namespace
}  // namespace vicinix
