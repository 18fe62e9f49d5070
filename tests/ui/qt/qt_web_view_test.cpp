#include "ui/qt/qt_web_view.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>
#include <fstream>
#include <nlohmann/json.hpp>

#include "data/model/campaign_factory.h"
#include "data/model/campaign_table.h"
#include "platform/fake/recording_log.h"
#include "platform/linux/plist_defaults_store.h"
#include "support/linux_sdk.h"
#include "support/loopback_http_server.h"
#include "support/screen_fixture.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/vicinix_web_view_controller.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using test::LoopbackHttpServer;

// A page with a title, green from edge to edge so a picture of it is known.
const std::string kPage =
    "<!doctype html><title>Loyalty club</title>"
    "<body style='margin:0;background:#0a6e5c;height:2000px'><h1>Join</h1></body>";

const std::string kAnswer = LoopbackHttpServer::reply(200, kPage, "Content-Type: text/html\r\n");

class QtWebDetailTest : public test::ScreenTestWith<QtToolkit> {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_THREAD__)
    // Chromium runs its own threads in libraries built without ThreadSanitizer:
    // every hand-off between them is reported as a race.
    GTEST_SKIP() << "Qt WebEngine is not instrumented for ThreadSanitizer";
#endif
    kit->setMainScreenSize({320, 480});
  }

  // The page's request comes first; the engine may ask for a favicon after it.
  static std::string pageTarget(LoopbackHttpServer& server) {
    auto received = server.received();
    return received.empty() ? "" : LoopbackHttpServer::targetOf(received[0]);
  }

  void storeWebCampaign(const std::string& path) {
    Database& database = *CampaignFactory::shared().realm();
    ASSERT_FALSE(database.write([&] {
      CampaignTable(database).addOrUpdate({.id = "w", .type = "WEB_PAGE", .detailURLPath = path});
    }));
  }
};

TEST_F(QtWebDetailTest, ASilentServerEndsTheLoadOnceAtTheTimeout) {
  LoopbackHttpServer silent(std::nullopt);
  QtWebView view;
  int reports = 0;
  bool lastOk = true;
  view.setLoadFinished([&](bool ok) {
    ++reports;
    lastOk = ok;
  });
  view.load(silent.url() + "/pages/l.html?c=w", 300ms);

  ASSERT_TRUE(QTest::qWaitFor([&] { return reports > 0; }, 10000));
  QTest::qWait(500);  // the engine's own report of the stopped load
  EXPECT_EQ(reports, 1);
  EXPECT_FALSE(lastOk);
  EXPECT_EQ(view.title(), "");
}

// vicinix-host render web, on the data directory this test's SDK stores into:
// the page gets exactly the address the screen built, and the picture and
// the layout show the loaded page.
TEST_F(QtWebDetailTest, RenderWaitsForThePageToShowAndSaysWhenItCannot) {
  LoopbackHttpServer server(kAnswer);
  storeWebCampaign(server.url() + "/pages/loyalty.html?campaign=w");
  const std::string data = env.appData().string();
  {
    auto settings = makePlistDefaultsStore(env.appData() / "Library/Preferences/vicinix.plist",
                                           std::make_shared<RecordingLog>());
    settings->setString("VicinixDeviceIDDefaultsKey", "device-1");
    ASSERT_TRUE(settings->synchronize());
  }
  const std::string host = VICINIX_HOST_BINARY;
  const std::string png = data + "/web.png", layout = data + "/web.json";

  auto result = test::runCommand(host + " render web --campaign w --data-dir '" + data +
                                 "' --size 320x480 --png '" + png + "' --layout '" + layout + "'");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  // As built, to the letter; no key is stored, so it ends in an empty one.
  const std::string target =
      "/pages/loyalty.html?campaign=w&deviceId=device-1&platform=IOS&sdkVersion=1&applicationKey=";
  EXPECT_EQ(pageTarget(server), target);

  QImage image(QString::fromStdString(png));
  ASSERT_EQ(image.size(), QSize(320, 480));
  EXPECT_EQ(image.pixelColor(10, 470), QColor("#0a6e5c")) << "the page is in the picture";
  auto tree = nlohmann::json::parse(std::ifstream(layout));
  const auto& web = tree["subviews"][0]["subviews"][0];
  ASSERT_EQ(web["kind"], "web") << tree.dump(2);
  EXPECT_EQ(web["url"], server.url() + target);
  EXPECT_EQ(web["title"], "Loyalty club");
  EXPECT_EQ(web["opaque"], false);

  LoopbackHttpServer silent(std::nullopt);
  for (auto [path, exitCode] : {std::pair{std::string("http://127.0.0.1:1/refused?x=1"), 3},
                                std::pair{silent.url() + "/pages/silent?x=1", 4},
                                std::pair{std::string("http://pages.test/a b?x=1"), 3}}) {
    storeWebCampaign(path);
    auto failed = test::runCommand(host + " render web --wait 2 --campaign w --data-dir '" + data +
                                   "' --png '" + png + "'");
    EXPECT_EQ(failed.exitCode, exitCode) << path << "\n" << failed.err;
    EXPECT_NE(failed.err.find("render: error: "), std::string::npos) << failed.err;
  }
}

}  // namespace
}  // namespace vicinix
