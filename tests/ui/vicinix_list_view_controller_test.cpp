#include "ui/vicinix_list_view_controller.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/notification_center.h"
#include "core/vicinix.h"
#include "data/model/campaign_factory.h"
#include "data/model/campaign_table.h"
#include "data/model/event_factory.h"
#include "support/screen_fixture.h"
#include "ui/vicinix_appearance.h"
#include "ui/vicinix_list_table_view_cell.h"
#include "ui/vicinix_navigation_view_controller.h"
#include "ui/vicinix_page_view_controller.h"

namespace vicinix {
namespace {

using std::chrono::seconds;

// The list on the fake's 320 × 568 screen, as the root of a navigation
// container. Rows are 80 high; texts start at x 92 and are 212 wide, where a
// 14-point character is 7 wide and a line 16.8 high.
class ListTest : public test::ScreenTest {
 protected:
  std::shared_ptr<VicinixListViewController> list = std::make_shared<VicinixListViewController>();
  std::shared_ptr<VicinixNavigationViewController> navigation;

  // A campaign the list shows, created `age` seconds before the test's start.
  Campaign listed(const std::string& id, int age) {
    return Campaign{.id = id,
                    .type = "PAGE",
                    .listImagePath = "https://img.test/" + id + ".png",
                    .listTitle = "Title " + id,
                    .listText = "Text " + id,
                    .created = FakeSdk::defaultStart() - seconds(age)};
  }
  void store(const Campaign& campaign) {
    Database& database = *CampaignFactory::shared().realm();
    EXPECT_FALSE(database.write([&] { CampaignTable(database).addOrUpdate(campaign); }));
  }
  void remove(const std::string& id) {
    Database& database = *CampaignFactory::shared().realm();
    EXPECT_FALSE(database.write([&] { CampaignTable(database).remove(id); }));
  }

  void show() {
    navigation = std::make_shared<VicinixNavigationViewController>(list);
    navigation->view();
    navigation->viewWillAppear(false);
  }
  FakeTableView& table() { return dynamic_cast<FakeTableView&>(FakeNode::of(*list->tableView)); }
  std::vector<std::string> titles() {
    std::vector<std::string> shown;
    for (const TableCell& cell : table().visibleCells) shown.push_back(cell.title.text);
    return shown;
  }
  bool showsEmptyNotice() { return list->infoScreen->view()->superview() == list->view().get(); }
};

TEST_F(ListTest, ListsCampaignsWithAllListContentNewestFirst) {
  store(listed("old", 300));
  store(listed("new", 10));
  Campaign web = listed("web", 100);
  web.type = "WEB_PAGE";
  store(web);
  Campaign noPicture = listed("noPicture", 5);
  noPicture.listImagePath = "";
  store(noPicture);
  Campaign noTitle = listed("noTitle", 5);
  noTitle.listTitle = "";
  store(noTitle);
  Campaign noText = listed("noText", 5);
  noText.listText = "";
  store(noText);
  Campaign inApp = listed("inApp", 5);
  inApp.type = "IN_APP_EVENT";
  store(inApp);
  env.application->setApplicationIconBadgeNumber(7);
  env.application->setTranslations({{"Kampaně", "Campaigns"}});

  show();

  EXPECT_EQ(titles(), (std::vector<std::string>{"Title new", "Title web", "Title old"}));
  EXPECT_FALSE(showsEmptyNotice());
  EXPECT_EQ(list->navigationItem.title, "Campaigns");
  EXPECT_EQ(env.application->applicationIconBadgeNumber(), 0);
}

TEST_F(ListTest, ASubtitleOfTwoLinesSitsCloserToTheRowsBottom) {
  struct Case {
    const char* text;
    int lines;  // as measured
    double bottomConstant;
    double shownHeight;  // at most two lines are drawn
  };
  const Case cases[] = {
      {"Short text", 1, 27, 16.8},
      {"Twenty percent off every pair of shoes", 2, 12, 33.6},
      {"Twenty percent off every pair of shoes and a free bag for each order", 3, 12, 33.6},
  };
  show();
  for (const Case& c : cases) {
    Campaign campaign = listed("c", 1);
    campaign.listText = c.text;
    store(campaign);
    list->reloadTableView();
    ASSERT_EQ(table().visibleCells.size(), 1u);
    const TableCell& cell = table().visibleCells[0];
    const Font subtitleFont = Font::system(14);
    EXPECT_EQ(VicinixListTableViewCell::numberOfLines(*kit, c.text, subtitleFont, 212), c.lines);
    const double subtitleY = 80 - c.bottomConstant - c.shownHeight;
    expectFrame(cell.subtitle.frame, {92, subtitleY, 212, c.shownHeight}, c.text);
    expectFrame(cell.title.frame, {92, subtitleY - 2 - 19.2, 212, 19.2}, c.text);
    expectFrame(cell.imageFrame, {16, 8, 64, 64}, "picture");
  }
  EXPECT_EQ(VicinixListTableViewCell::numberOfLines(*kit, "", Font::system(14), 212), 0);
}

TEST_F(ListTest, TheUpdateNoticeTakesThePlaceOfRowsAndSeparators) {
  store(listed("c", 1));
  env.defaults->setInteger("VicinixRequiredSDKVersionDefaultsKey", 1);
  show();
  list->reloadTableView();

  EXPECT_EQ(table().rows, 0);
  EXPECT_EQ(table().separatorStyle, SeparatorStyle::none);
  EXPECT_FALSE(showsEmptyNotice());
  // One notice, however often the rows are counted, and only this screen's,
  // with its full stop.
  EXPECT_EQ(labelsWithText(list->view(), "Aktualizujte prosím aplikaci pro obnovu všech funkcí."),
            1u)
      << FakeNode::of(*list->view()).tree();
  EXPECT_EQ(labelsWithText(list->view(), "Aktualizujte prosím aplikaci pro obnovu všech funkcí"),
            0u);
}

TEST_F(ListTest, TheEmptyNoticeShowsWhileNothingIsListed) {
  show();
  EXPECT_TRUE(showsEmptyNotice());
  EXPECT_EQ(labelsWithText(list->view(), "Žádné kampaně"), 1u);
  EXPECT_EQ(table().separatorStyle, SeparatorStyle::none);

  store(listed("c", 1));
  list->reloadTableView();
  EXPECT_FALSE(showsEmptyNotice());
  EXPECT_EQ(table().separatorStyle, SeparatorStyle::singleLine);

  remove("c");
  list->reloadTableView();
  EXPECT_TRUE(showsEmptyNotice());
  EXPECT_EQ(labelsWithText(list->view(), "Žádné kampaně"), 1u);
}

TEST_F(ListTest, ATapOpensTheDetailAndRecordsIt) {
  store(listed("page", 10));
  Campaign custom = listed("custom", 20);
  custom.type = "CUSTOM_ENDPOINT";
  store(custom);
  show();

  table().select(0);
  EXPECT_EQ(table().selectedRow, std::nullopt);
  EXPECT_EQ(table().deselections, std::vector<bool>{true});
  ASSERT_EQ(navigation->viewControllers().size(), 2u);
  auto* page = dynamic_cast<VicinixPageViewController*>(navigation->topViewController());
  ASSERT_NE(page, nullptr);
  ASSERT_TRUE(page->campaign);
  EXPECT_EQ(page->campaign->id, "page");

  // A campaign without a detail screen opens nothing and records nothing.
  navigation->popViewController(false);
  table().select(1);
  EXPECT_EQ(navigation->viewControllers().size(), 1u);

  auto events = EventFactory::shared().allEvents();
  ASSERT_TRUE(events);
  ASSERT_EQ(events->size(), 1u);
  EXPECT_EQ((*events)[0].type, "CAMPAIGN_DETAIL_FROM_CAMPAIGNS_LIST");
  EXPECT_EQ((*events)[0].campaignId, "page");
  EXPECT_EQ((*events)[0].beaconNamespace, std::nullopt);
}

TEST_F(ListTest, EachNotificationFromAnyThreadReloadsOnTheMainQueue) {
  show();
  int reloads = table().reloads;
  int stored = 0;
  for (const char* name :
       {Vicinix::campaignRecieved, Vicinix::imageDownloaded, Vicinix::campaignsUpdated}) {
    ++stored;
    store(listed("c" + std::to_string(stored), stored));
    std::thread([name] { NotificationCenter::defaultCenter().post(name); }).join();
    EXPECT_EQ(table().reloads, reloads) << name << " reloaded off the main queue";
    env.time->runUntilIdle();
    EXPECT_EQ(table().reloads, ++reloads) << name;
    EXPECT_EQ(table().rows, stored) << name;
  }

  // A reload queued for a screen that is gone by its turn does nothing.
  NotificationCenter::defaultCenter().post(Vicinix::campaignsUpdated);
  navigation.reset();
  list.reset();
  env.time->runUntilIdle();
}

TEST_F(ListTest, ADownloadedPictureIsShownOnceItLands) {
  auto bytes = FakeImageCodec::pictureBytes(3, 2);
  env.http->replyWith(std::string(bytes.begin(), bytes.end()));
  env.http->setLatency(std::chrono::milliseconds(10));
  store(listed("c", 1));
  show();
  ASSERT_EQ(table().visibleCells.size(), 1u);
  EXPECT_FALSE(table().visibleCells[0].image);
  ASSERT_EQ(env.http->requests().size(), 1u);
  EXPECT_EQ(env.http->requests()[0].url, "https://img.test/c.png");

  env.time->runAll();
  ASSERT_EQ(table().visibleCells.size(), 1u);
  ASSERT_TRUE(table().visibleCells[0].image);
  EXPECT_EQ(table().visibleCells[0].image->width, 3);
  // Repaints take the cached picture: nothing is fetched again, and with
  // nothing arriving nothing is announced, so the list settles.
  const int reloads = table().reloads;
  list->reloadTableView();
  env.time->runAll();
  EXPECT_EQ(env.http->requests().size(), 1u);
  EXPECT_EQ(table().reloads, reloads + 1);
}

}  // namespace
}  // namespace vicinix
