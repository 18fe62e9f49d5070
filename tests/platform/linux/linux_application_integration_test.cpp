#include <gio/gio.h>
#include <gtest/gtest.h>
#include <libintl.h>
#include <locale.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/fake/recording_log.h"
#include "platform/linux/linux_application.h"
#include "platform/linux/temporary_directory.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

struct Screen final : ViewController {
  std::string text;
  explicit Screen(std::string text) : text(std::move(text)) {}
  std::string description() const override { return text; }
};

struct ScopedPath {
  std::string old = std::getenv("PATH");
  explicit ScopedPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
  ~ScopedPath() { setenv("PATH", old.c_str(), 1); }
};

std::string readWhenPresent(const std::filesystem::path& path) {
  for (int attempt = 0; attempt < 1000 && !std::filesystem::exists(path); ++attempt)
    std::this_thread::sleep_for(10ms);
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(LinuxApplication, TheHeadlessRootPrintsEachScreenItIsGivenAndKeepsNone) {
  LinuxApplication application;
  auto root = application.keyWindowRootViewController();
  ASSERT_NE(root, nullptr);

  ::testing::internal::CaptureStdout();
  root->present(std::make_shared<Screen>("campaign abc"), true);
  root->present(std::make_shared<Screen>("campaign def"), false);
  std::string printed = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(printed, "present: campaign abc\npresent: campaign def\n");
  // The SDK presents on the topmost screen; the next one must land on the root again.
  EXPECT_EQ(root->presentedViewController(), nullptr);
}

TEST(LinuxApplication, OpensAUrlWithXdgOpenAsOneArgumentWithoutAShellAndSaysWhyNot) {
  testing::TemporaryDirectory bin;
  std::filesystem::path script = bin.path / "xdg-open";
  std::ofstream(script) << "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" > \"$0.args.tmp\"\n"
                           "/bin/mv \"$0.args.tmp\" \"$0.args\"\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  ScopedPath path(bin.path.string());
  auto log = std::make_shared<RecordingLog>();
  LinuxApplication application(log);

  application.openURL("--help");  // would be an option of xdg-open's
  application.openURL("");
  const std::string url = "https://example.test/a b?x='1'&y=\"2\";touch $HOME/oops";
  application.openURL(url);
  EXPECT_EQ(readWhenPresent(bin.path / "xdg-open.args"), "1\n" + url + "\n");
  std::filesystem::remove(script);
  application.openURL("https://example.test");

  auto lines = log->systemLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "not opening \"--help\": not a URL");
  EXPECT_EQ(lines[1], "not opening \"\": not a URL");
  EXPECT_EQ(lines[2].rfind("cannot open \"https://example.test\": ", 0), 0u) << lines[2];
}

struct LauncherUpdate {
  std::string sender, path, uri;
  int64_t count = -1;
  bool visible = false;
  bool operator==(const LauncherUpdate&) const = default;
};

void PrintTo(const LauncherUpdate& u, std::ostream* os) {
  *os << u.uri << " count=" << u.count << " visible=" << u.visible;
}

// Listens for launcher-entry updates on the session bus, as a dock does.
class Dock {
 public:
  Dock() {
    connection_ = g_dbus_connection_new_for_address_sync(
        std::getenv("DBUS_SESSION_BUS_ADDRESS"),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    subscription_ = g_dbus_connection_signal_subscribe(
        connection_, nullptr, "com.canonical.Unity.LauncherEntry", "Update", nullptr, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, &Dock::onUpdate, this, nullptr);
    // Once the bus answers a later call, it has the match rule too.
    GVariant* id = g_dbus_connection_call_sync(
        connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    if (id != nullptr) g_variant_unref(id);
  }
  ~Dock() {
    g_dbus_connection_signal_unsubscribe(connection_, subscription_);
    g_object_unref(connection_);
  }

  // Waits up to 10 s for `count` updates in all.
  const std::vector<LauncherUpdate>& waitFor(size_t count) {
    for (int i = 0; i < 1000 && updates_.size() < count; ++i) {
      while (g_main_context_iteration(nullptr, FALSE)) {
      }
      if (updates_.size() < count) std::this_thread::sleep_for(10ms);
    }
    return updates_;
  }

 private:
  static void onUpdate(GDBusConnection*, const gchar* sender, const gchar* path, const gchar*,
                       const gchar*, GVariant* parameters, gpointer data) {
    LauncherUpdate update{sender, path, "", -1, false};
    const gchar* uri = nullptr;
    GVariant* properties = nullptr;
    g_variant_get(parameters, "(&s@a{sv})", &uri, &properties);
    update.uri = uri;
    gboolean visible = FALSE;
    gint64 count = -1;
    g_variant_lookup(properties, "count", "x", &count);
    g_variant_lookup(properties, "count-visible", "b", &visible);
    update.count = count;
    update.visible = visible;
    g_variant_unref(properties);
    static_cast<Dock*>(data)->updates_.push_back(update);
  }

  GDBusConnection* connection_ = nullptr;
  guint subscription_ = 0;
  std::vector<LauncherUpdate> updates_;
};

TEST(LinuxApplication, ShowsTheBadgeOnItsLauncherEntryWithTheLatestCount) {
  test::PrivateBus bus;
  Dock dock;
  LinuxApplication application(nullptr, "shop-kiosk");

  // Both before the bus is connected: only the latest is worth sending.
  application.setApplicationIconBadgeNumber(3);
  application.setApplicationIconBadgeNumber(5);
  auto updates = dock.waitFor(1);
  application.setApplicationIconBadgeNumber(0);
  updates = dock.waitFor(2);

  ASSERT_EQ(updates.size(), 2u);
  EXPECT_EQ(updates[0].sender, updates[1].sender);
  EXPECT_EQ(updates[0].path, updates[1].path);
  EXPECT_EQ(updates[0].path.rfind("/com/canonical/unity/launcherentry/", 0), 0u);
  const std::string uri = "application://shop-kiosk.desktop";
  EXPECT_EQ(updates[0], (LauncherUpdate{updates[0].sender, updates[0].path, uri, 5, true}));
  EXPECT_EQ(updates[1], (LauncherUpdate{updates[0].sender, updates[0].path, uri, 0, false}));
  EXPECT_EQ(application.applicationIconBadgeNumber(), 0);
}

// A gettext catalogue with one translation (and the header that declares
// UTF-8), as msgfmt writes it: originals sorted, no hash table.
std::string catalogue(const std::string& original, const std::string& translation) {
  const std::string originals[] = {"", original};
  const std::string translations[] = {"Content-Type: text/plain; charset=UTF-8\n", translation};
  auto word = [](std::string& out, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(value >> shift));
  };
  const uint32_t headerSize = 28;
  const uint32_t tableSize = 2 * 8;
  std::string tables;
  std::string strings;
  for (const auto* column : {originals, translations}) {
    for (int i = 0; i < 2; ++i) {
      word(tables, static_cast<uint32_t>(column[i].size()));
      word(tables, headerSize + 2 * tableSize + static_cast<uint32_t>(strings.size()));
      strings += column[i] + '\0';
    }
  }
  std::string file;
  for (uint32_t value : {0x950412deu, 0u, 2u, headerSize, headerSize + tableSize, 0u, 0u}) {
    word(file, value);
  }
  return file + tables + strings;
}

TEST(LinuxApplication, TranslatesInTheHostsTextDomainAndLeavesTheKeyWithoutOne) {
  ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
  LinuxApplication application;
  EXPECT_EQ(application.localizedString("Kampaně"), "Kampaně");

  testing::TemporaryDirectory catalogues;
  std::filesystem::create_directories(catalogues.path / "C.UTF-8" / "LC_MESSAGES");
  std::ofstream(catalogues.path / "C.UTF-8" / "LC_MESSAGES" / "vicinix-test-host.mo",
                std::ios::binary)
      << catalogue("Kampaně", "Campaigns");
  const std::string previous = textdomain(nullptr);
  bindtextdomain("vicinix-test-host", catalogues.path.c_str());
  textdomain("vicinix-test-host");
  EXPECT_EQ(application.localizedString("Kampaně"), "Campaigns");
  EXPECT_EQ(application.localizedString("Žádné kampaně"), "Žádné kampaně");
  EXPECT_EQ(application.localizedString(""), "");
  textdomain(previous.c_str());
  setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace vicinix
