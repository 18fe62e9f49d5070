#include "data/model/campaign_factory.h"

#include <gtest/gtest.h>
#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

#include "data/model/attribute_table.h"
#include "data/model/block_factory.h"
#include "data/model/block_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::seconds;

class CampaignFactoryTest : public ::testing::Test {
 protected:
  FakeSdk env;
  CampaignFactory& factory = CampaignFactory::shared();

  std::optional<Campaign> import(const std::string& json) {
    auto campaign = factory.parse(JsonValue::parse(json));
    env.time->runUntilIdle();  // blocks and deferred writes
    return campaign;
  }
  std::vector<Block> blocksOf(const std::string& id) {
    return BlockTable(*factory.realm()).blocksOf(id);
  }
  std::vector<Attribute> attributesOf(const std::string& blockId) {
    return AttributeTable(*factory.realm()).attributesOf(blockId);
  }
  std::vector<std::string> requestedURLs() {
    std::vector<std::string> urls;
    for (const auto& request : env.http->requests()) urls.push_back(request.url);
    return urls;
  }
};

constexpr const char* kPage = R"({"id":"c1","type":"PAGE","isActive":true,"cooldown":"600",
  "maximumNotificationsPerUser":2.9,"notificationTitle":"Sale","notificationText":"Now",
  "notificationImage":"https://img.test/n.png","listImage":"","listTitle":7,"listText":true,
  "detailUrl":"https://d.test","inAppEvent":"open",
  "blocks":[{"id":"b1","type":"TITLE","attributes":[{"id":"a1","key":"text","value":"Hi"}]},
            {"type":"TEXT","attributes":[]},
            {"id":"b3","type":"IMAGE","attributes":[{"id":7,"key":"alt","value":"x"},
                                                    {"id":"a3","key":"src","value":"https://img.test/b.png"}]}]})";

TEST_F(CampaignFactoryTest, ImportsFieldsLenientlyAndNumbersBlocksFromOneAttributesFromZero) {
  auto campaign = import(kPage);
  ASSERT_TRUE(campaign);
  auto stored = factory.find("c1");
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->cooldown, 600);
  EXPECT_EQ(stored->maximumNotificationsPerUser, 2);
  EXPECT_EQ(stored->listTitle, "7");
  EXPECT_EQ(stored->listText, "true");
  EXPECT_EQ(stored->detailURLPath, "https://d.test");
  EXPECT_EQ(stored->updated, env.time->now());

  // The block without an id reads as "" and is still created: three blocks.
  auto blocks = blocksOf("c1");
  ASSERT_EQ(blocks.size(), 3u);
  EXPECT_EQ(blocks[0].sortIndex, 1);
  EXPECT_EQ(blocks[2].sortIndex, 3);
  auto attributes = attributesOf("b3");
  ASSERT_EQ(attributes.size(), 2u);
  EXPECT_EQ(attributes[0].id, "7");
  EXPECT_EQ(attributes[0].sortIndex, 0);
  EXPECT_EQ(attributes[1].sortIndex, 1);
  // The IMAGE block's picture is fetched under the attribute's name.
  EXPECT_EQ(requestedURLs(), std::vector<std::string>{"https://img.test/b.png"});
}

TEST_F(CampaignFactoryTest, ABlockThatCannotBeCreatedTakesNoNumber) {
  // Refuse one block id at the database, as a full disk would refuse it.
  BlockFactory::shared().realm()->connection().exec(
      "CREATE TEMP TRIGGER refuse BEFORE INSERT ON block WHEN NEW.id = 'bad' "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END");
  import(
      R"({"id":"c1","isActive":true,"type":"PAGE","blocks":[{"id":"x"},{"id":"bad"},{"id":"y"}]})");
  auto blocks = blocksOf("c1");
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].id, "x");
  EXPECT_EQ(blocks[1].id, "y");
  EXPECT_EQ(blocks[1].sortIndex, 2);
}

TEST_F(CampaignFactoryTest, ReimportReplacesBlocksButKeepsCountersAndCreation) {
  import(kPage);
  Date created = factory.find("c1")->created;
  factory.setNotified(*factory.find("c1"));
  env.time->advance(seconds(30));
  import(R"({"id":"c1","type":"PAGE","isActive":true,"blocks":[{"id":"n1","type":"TEXT"}]})");
  auto stored = factory.find("c1");
  EXPECT_EQ(stored->created, created);
  EXPECT_EQ(stored->notificationCount, 1);
  EXPECT_TRUE(stored->notificationSent);
  EXPECT_EQ(blocksOf("c1").size(), 1u);
  EXPECT_TRUE(attributesOf("b1").empty());
}

TEST_F(CampaignFactoryTest, InactiveDeletesTheCampaignButLeavesItsBlocks) {
  import(kPage);
  EXPECT_FALSE(import(R"({"id":"c1","type":"PAGE","isActive":false})"));
  EXPECT_FALSE(factory.find("c1"));
  EXPECT_EQ(blocksOf("c1").size(), 3u);
}

TEST_F(CampaignFactoryTest, CustomEndpointKeepsItsContent) {
  import(kPage);
  Date updated = *factory.find("c1")->updated;
  env.time->advance(seconds(10));
  import(R"({"id":"c1","type":"CUSTOM_ENDPOINT","isActive":true,"cooldown":5,
             "notificationTitle":"changed","blocks":[]})");
  auto stored = factory.find("c1");
  EXPECT_EQ(stored->type, "CUSTOM_ENDPOINT");
  EXPECT_EQ(stored->cooldown, 5);
  EXPECT_EQ(stored->notificationTitle, "Sale");
  EXPECT_EQ(stored->updated, updated);
  EXPECT_EQ(blocksOf("c1").size(), 3u);
}

TEST_F(CampaignFactoryTest, ListImageIsNamedFromTheOldPathAndFetchedOnlyWhenItChanges) {
  int posted = 0;
  NotificationCenter::defaultCenter().addObserver(Vicinix::imageDownloaded,
                                                  [&](const auto&) { ++posted; });
  env.http->replyWith("not a picture");
  import(R"({"id":"c9","isActive":true,"listImage":"https://img.test/first.png"})");
  import(R"({"id":"c9","isActive":true,"listImage":"https://img.test/first.png"})");
  EXPECT_EQ(requestedURLs(), std::vector<std::string>{"https://img.test/first.png"});
  EXPECT_EQ(posted, 1);  // a failed fetch completes with nothing, and still posts

  auto picture = FakeImageCodec::pictureBytes(2, 2);
  env.http->replyWith(std::string(picture.begin(), picture.end()));
  import(R"({"id":"c9","isActive":true,"listImage":"https://img.test/second.png"})");
  // The new URL, cached as "first.png": the name the old path gave.
  EXPECT_TRUE(std::filesystem::exists(env.appData() / "Library/Vicinix/Images/first.png"));
}

TEST_F(CampaignFactoryTest, RejectsWhatIsNotACampaign) {
  EXPECT_FALSE(factory.parse(JsonValue()));
  EXPECT_FALSE(factory.parse(JsonValue::parse(R"({"id":12,"isActive":true})")));
  factory.deleteCampaign("unknown");
  env.time->runUntilIdle();
  EXPECT_TRUE(factory.allCampaigns()->empty());
}

}  // namespace
}  // namespace vicinix
