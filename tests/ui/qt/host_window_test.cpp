// `vicinix-host run --gui` in a real window on the test's own X server, driven
// by clicks as a user would, against the reference backend.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/linux/temporary_directory.h"
#include "support/backend_process.h"
#include "support/host_process.h"
#include "support/private_bus.h"
#include "support/xvfb_display.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using Window = test::XvfbDisplay::Window;

const std::string kCapture = std::string(VICINIX_SOURCE_DIR) + "/samples/store-entrance.btsnoop";
const std::filesystem::path kScreenshots =
    std::filesystem::path(VICINIX_SCREENSHOT_DIR) / "host-window";

// The window's navigation bar and the list's first row under it.
constexpr int kBarHeight = 44;
constexpr int kRowHeight = 80;
// Sheets open as windows titled with the application's name.
constexpr const char* kSheetTitle = "vicinix-host";

class HostWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bus.startMock("notification_daemon", "org.freedesktop.Notifications",
                  R"({"capabilities": "body actions action-icons icon-static persistence"})");
  }

  // A screenshot of the window, which must show more than one flat colour
  // once it has painted: a window is mapped a moment before it is drawn.
  test::XvfbDisplay::Picture shoot(const Window& window, const std::string& name) {
    test::XvfbDisplay::Picture picture;
    for (int attempt = 0; attempt < 50; ++attempt) {
      picture = screen.screenshot(window, kScreenshots / (name + ".png"));
      if (picture.distinctColours() > 16) break;
      std::this_thread::sleep_for(100ms);
    }
    EXPECT_GT(picture.distinctColours(), 16u) << name << " looks blank";
    return picture;
  }

  // Clicks "Close" on the sheet's bar and waits for the sheet to go.
  void closeSheet(const Window& sheet) {
    screen.click(sheet.x + sheet.width - 30, sheet.y + kBarHeight / 2);
    EXPECT_TRUE(screen.waitForNoWindow(kSheetTitle, 10s)) << "\"Close\" left the sheet open";
  }

  // The id the desktop gave the notification whose Notify call holds `text`;
  // 0 while there is none.
  uint32_t notificationWith(const std::string& text) {
    auto reply =
        bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                 "org.freedesktop.DBus.Mock", "GetMethodCalls", g_variant_new("(s)", "Notify"));
    test::VariantPtr calls(g_variant_get_child_value(reply.get(), 0));
    uint32_t id = 0;
    // The mock numbers its notifications 1, 2, ... in the order they came.
    for (gsize i = 0; i < g_variant_n_children(calls.get()) && id == 0; ++i) {
      test::VariantPtr call(g_variant_get_child_value(calls.get(), i));
      gchar* printed = g_variant_print(call.get(), FALSE);
      if (std::string(printed).find(text) != std::string::npos) id = uint32_t(i + 1);
      g_free(printed);
    }
    return id;
  }

  size_t eventsOfType(const std::string& type) {
    size_t count = 0;
    for (const auto& event : backend.events()) count += event["eventType"] == type;
    return count;
  }

  test::PrivateBus bus;
  test::BackendProcess backend;
  test::XvfbDisplay screen;
  testing::TemporaryDirectory temporary;
  const std::filesystem::path dataDir = temporary.path;
};

TEST_F(HostWindowTest, TheListFillsOpensCampaignsInSheetsAndClosingTheWindowStopsTheHost) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "on a real display Qt drives libX11, libxcb, Mesa's GLX and QtDBus, none of "
                  "them instrumented, whose locks ThreadSanitizer misreads; the host's own "
                  "threads are checked by the headless and offscreen tests";
#endif
#if defined(__SANITIZE_ADDRESS__)
  // On a real display Qt loads X11 input and GL modules that allocate once
  // and are unloaded before LeakSanitizer looks, so their blocks cannot even
  // be named; the host's own leaks are checked by the offscreen renders.
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
#endif
  test::HostProcess host({"run", "--gui", "--app-key", "demo-app-key", "--endpoint",
                          backend.endpoint(), "--data-dir", dataDir.string(), "--source",
                          "replay:" + kCapture, "--replay-speed", "4"});
  auto window = screen.waitForWindow("Kampaně", 30s);
  ASSERT_TRUE(window) << host.out() << host.err();
  auto empty = shoot(*window, "1-empty-list");

  // The campaigns of the first beacon come in as rows.
  ASSERT_TRUE(host.waitForOutput("campaigns: received", 60s)) << host.out() << host.err();
  size_t changed = 0;
  for (int attempt = 0; attempt < 100 && changed < 500; ++attempt) {
    std::this_thread::sleep_for(100ms);
    changed =
        shoot(*window, "2-list").differingPixels(empty, 0, kBarHeight, window->width, kRowHeight);
  }
  EXPECT_GE(changed, 500u) << "the first row never appeared";

  // A click on the spring page's desktop notification opens it over the list.
  uint32_t spring = 0;
  for (int attempt = 0; attempt < 600 && spring == 0; ++attempt) {
    std::this_thread::sleep_for(100ms);
    spring = notificationWith("Welcome back!");
  }
  ASSERT_NE(spring, 0u) << host.out();
  bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
           "org.freedesktop.DBus.Mock", "EmitSignal",
           g_variant_new_parsed("('org.freedesktop.Notifications', 'ActionInvoked', 'us', "
                                "[<%u>, <'default'>])",
                                spring));
  auto fromNotification = screen.waitForWindow(kSheetTitle, 20s);
  ASSERT_TRUE(fromNotification) << host.out() << host.err();
  shoot(*fromNotification, "3-sheet-from-notification");
  closeSheet(*fromNotification);

  // So does a click on a row: the second, the spring page (the first is
  // the web page of the loyalty club, which came in the same reply later).
  screen.click(window->x + window->width / 2, window->y + kBarHeight + kRowHeight * 3 / 2);
  auto fromRow = screen.waitForWindow(kSheetTitle, 20s);
  ASSERT_TRUE(fromRow) << host.out() << host.err();
  shoot(*fromRow, "4-sheet-from-row");
  closeSheet(*fromRow);
  shoot(*window, "5-list-again");

  // Closing the window stops the host as going to the background does: the
  // events, the two openings among them, reach the backend.
  screen.closeWindow(*window);
  ASSERT_EQ(host.wait(30s), 0) << host.out() << host.err();
  EXPECT_NE(host.out().find("window: closed"), std::string::npos) << host.out();
  EXPECT_EQ(eventsOfType("CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION"), 1u);
  EXPECT_EQ(eventsOfType("CAMPAIGN_DETAIL_FROM_CAMPAIGNS_LIST"), 1u);
  EXPECT_EQ(eventsOfType("APP_CLOSED"), 1u);
}

TEST(HostWindowWithoutDisplayTest, SaysSoAndFails) {
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  const auto dataDir = std::filesystem::temp_directory_path() /
                       ("vicinix-gui-nodisplay-" + std::to_string(::getpid()));
  test::HostProcess host({"run", "--gui", "--app-key", "k", "--endpoint",
                          "http://127.0.0.1:9/graphql", "--source", "replay:" + kCapture,
                          "--data-dir", dataDir.string()});
  EXPECT_EQ(host.wait(30s), 2);
  EXPECT_NE(host.err().find("--gui needs a desktop"), std::string::npos) << host.err();
  EXPECT_FALSE(std::filesystem::exists(dataDir)) << "nothing is written without a window";
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
}

}  // namespace
}  // namespace vicinix
