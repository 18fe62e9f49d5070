#include "ui/vicinix_navigation_view_controller.h"

#include <gtest/gtest.h>

#include "core/vicinix.h"
#include "data/model/campaign_factory.h"
#include "support/screen_fixture.h"
#include "ui/vicinix_appearance.h"

namespace vicinix {
namespace {

struct Screen final : ToolkitViewController {
  explicit Screen(std::string name) : name(std::move(name)) {}
  std::string description() const override { return name; }
  std::string name;
};

class NavigationTest : public test::ScreenTest {
 protected:
  std::shared_ptr<Screen> a = std::make_shared<Screen>("a");
  std::shared_ptr<Screen> b = std::make_shared<Screen>("b");
  std::shared_ptr<Screen> c = std::make_shared<Screen>("c");

  // The bar's back and right buttons, in that order.
  static std::vector<FakeButton*> barButtons(VicinixNavigationViewController& navigation) {
    return all<FakeButton>(navigation.navigationBar());
  }
};

TEST_F(NavigationTest, CloseGoesOnTheScreensStackedBeforeItIsAddedAndClosesTheContainer) {
  auto navigation = std::make_shared<VicinixNavigationViewController>(a);
  navigation->pushViewController(b, false);
  navigation->addDismissButton();
  navigation->pushViewController(c, false);
  for (const auto& screen : {a, b}) {
    ASSERT_TRUE(screen->navigationItem.rightBarButtonItem) << screen->name;
    EXPECT_EQ(screen->navigationItem.rightBarButtonItem->title, "Close");
  }
  EXPECT_FALSE(c->navigationItem.rightBarButtonItem) << "pushed after the buttons were added";

  env.application->root()->present(navigation, true);
  navigation->view();
  auto buttons = barButtons(*navigation);
  ASSERT_EQ(buttons.size(), 2u);
  FakeButton& back = *buttons[0];
  FakeButton& close = *buttons[1];
  EXPECT_TRUE(close.hidden);
  EXPECT_FALSE(back.hidden);
  EXPECT_EQ(back.title, "‹ Back");

  back.tap();
  EXPECT_EQ(navigation->topViewController(), b.get());
  EXPECT_FALSE(close.hidden);
  EXPECT_EQ(close.frame(), (Rect{256, 20, 56, 44}));  // "Close" is 40 wide at 16 points
  EXPECT_EQ(back.frame(), (Rect{8, 20, 64, 44}));
  close.tap();
  EXPECT_FALSE(env.application->root()->presentedViewController());
}

TEST_F(NavigationTest, TheBarFollowsTheThemeAndTheStatusBarStyle) {
  VicinixAppearance::setPrimaryColor({0, 1, 0, 1});
  for (auto style : {std::optional<StatusBarStyle>(), std::optional(StatusBarStyle::light),
                     std::optional(StatusBarStyle::dark)}) {
    if (style) VicinixAppearance::setStatusBarStyle(*style);
    auto navigation = std::make_shared<VicinixNavigationViewController>(a);
    a->navigationItem.title = "Campaigns";
    navigation->addDismissButton();
    navigation->view();
    Color tint = style == StatusBarStyle::dark ? Color{0, 0, 0, 1} : Color{1, 1, 1, 1};
    FakeNode& bar = FakeNode::of(*navigation->navigationBar());
    EXPECT_EQ(bar.frame(), (Rect{0, 0, 320, 64})) << "44 points under the 20-point status bar";
    EXPECT_EQ(bar.backgroundColor, (Color{0, 1, 0, 1}));
    FakeLabel& title = *all<FakeLabel>(navigation->navigationBar()).at(0);
    EXPECT_EQ(title.text, "Campaigns");
    EXPECT_EQ(title.textColor, tint);
    EXPECT_EQ(title.frame(), (Rect{72, 20, 176, 44})) << "centred between equal margins";
    EXPECT_EQ(barButtons(*navigation)[1]->titleColor, tint);
  }
}

TEST_F(NavigationTest, TopDistanceCountsOnlyWhatCoversTheContent) {
  EXPECT_EQ(a->topDistance(), 20) << "the status bar alone";
  kit->setStatusBarHeight(0);
  EXPECT_EQ(a->topDistance(), 0);
  kit->setStatusBarHeight(20);
  {
    auto navigation = std::make_shared<VicinixNavigationViewController>(a);
    EXPECT_EQ(a->navigationController(), navigation.get());
    EXPECT_EQ(a->topDistance(), 0) << "an opaque bar starts the content below itself";
    navigation->setNavigationBarTranslucent(true);
    EXPECT_EQ(a->topDistance(), 64);
    navigation->pushViewController(b, false);
    navigation->popViewController(false);
    EXPECT_EQ(b->navigationController(), nullptr);
  }
  EXPECT_EQ(a->navigationController(), nullptr) << "the container is gone";
}

TEST_F(NavigationTest, AStoredPageOpensInTheContainerOverTheHostWindow) {
  CampaignFactory::shared().parse(JsonValue::parse(R"({"id":"p","type":"PAGE","isActive":true,
      "notificationTitle":"Sale","blocks":[{"id":"t","type":"TITLE",
      "attributes":[{"id":"t1","key":"text","value":"Sale"}]}]})"));
  env.time->runUntilIdle();
  env.application->setApplicationIconBadgeNumber(3);
  Vicinix::openCampaignDetailInModal("p");

  auto presented = env.application->root()->presentedViewController();
  ASSERT_TRUE(presented);
  EXPECT_EQ(presented->description(),
            "VicinixNavigationViewController > VicinixPageViewController campaign p \"Sale\"");
  auto& navigation = dynamic_cast<VicinixNavigationViewController&>(*presented);
  navigation.view();
  navigation.viewWillAppear(true);
  auto* page = dynamic_cast<VicinixPageViewController*>(navigation.topViewController());
  ASSERT_TRUE(page && page->isViewLoaded());
  EXPECT_EQ(page->view()->frame(), (Rect{0, 64, 320, 504}));
  EXPECT_EQ(page->scrollView->frame(), (Rect{0, 0, 320, 504})) << "grows with the page";
  EXPECT_EQ(labelsWithText(page->view(), "Sale"), 1u);
  EXPECT_EQ(env.application->applicationIconBadgeNumber(), 0);
}

}  // namespace
}  // namespace vicinix
