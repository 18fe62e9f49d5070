#include "ui/vicinix_web_view_controller.h"

#include <gtest/gtest.h>

#include "core/vicinix_configurator.h"
#include "support/screen_fixture.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

class WebDetailTest : public test::ScreenTest {
 protected:
  std::shared_ptr<VicinixWebViewController> load(std::optional<std::string> path) {
    auto screen = std::make_shared<VicinixWebViewController>();
    if (path) screen->campaign = Campaign{.id = "w", .type = "WEB_PAGE", .detailURLPath = *path};
    screen->view();
    return screen;
  }
  static FakeWebView& web(const VicinixWebViewController& screen) {
    return dynamic_cast<FakeWebView&>(FakeNode::of(*screen.webView));
  }
};

TEST_F(WebDetailTest, LoadsTheDetailPathWithTheDeviceAndKeyAppendedOverTheWholeScreen) {
  VicinixConfigurator::save("key/with+odd&chars");
  const std::string device = VicinixConfigurator::deviceID();
  auto screen = load("https://pages.test/c?x=1");
  FakeWebView& view = web(*screen);

  ASSERT_EQ(view.loads.size(), 1u);
  // Appended as it stands: nothing escaped, nothing between the parts.
  EXPECT_EQ(view.loads[0].url, "https://pages.test/c?x=1&deviceId=" + device +
                                   "&platform=IOS&sdkVersion=1&applicationKey=key/with+odd&chars");
  EXPECT_EQ(view.loads[0].timeout, 60s);
  EXPECT_EQ(view.superview(), screen->view().get());
  EXPECT_EQ(view.frame(), (Rect{0, 0, 320, 568}));
  EXPECT_FALSE(view.loadFinished) << "the screen takes no decisions on how a load ends";
  EXPECT_FALSE(screen->infoScreen);
}

TEST_F(WebDetailTest, AnAddressThatIsNotAUrlLoadsNothing) {
  // The whole address must parse, the key included.
  for (const char* path : {"https://pages.test/a page?x=1", "https://pages.test/%zz?x=1"}) {
    auto screen = load(path);
    EXPECT_TRUE(web(*screen).loads.empty()) << path;
    EXPECT_EQ(web(*screen).superview(), screen->view().get()) << "a blank page shows: " << path;
  }
  VicinixConfigurator::save("a key");
  EXPECT_TRUE(web(*load("https://pages.test/c?x=1")).loads.empty()) << "a key with a blank";
}

TEST_F(WebDetailTest, WithoutACampaignOnlyTheErrorNoticeShows) {
  auto screen = load(std::nullopt);
  ASSERT_TRUE(screen->infoScreen);
  EXPECT_EQ(screen->infoScreen->view()->superview(), screen->view().get());
  EXPECT_EQ(labelsWithText(screen->view(), "Kampaň se nepodařilo načíst."), 1u);
  EXPECT_TRUE(all<FakeWebView>(screen->view()).empty());
  EXPECT_TRUE(web(*screen).loads.empty());
}

}  // namespace
}  // namespace vicinix
