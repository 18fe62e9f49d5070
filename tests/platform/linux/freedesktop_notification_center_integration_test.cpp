#include <fcntl.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/fake/recording_log.h"
#include "platform/linux/freedesktop_notification_center.h"
#include "platform/linux/temporary_directory.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using test::PrivateBus;
using test::VariantPtr;

constexpr const char* kServer = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kCapabilities =
    R"({"capabilities": "body actions action-icons icon-static persistence"})";

// Waits for a value handed over from the centre's thread; nothing after 10 s.
template <class T>
std::optional<T> await(std::future<T> future) {
  if (future.wait_for(10s) != std::future_status::ready) return std::nullopt;
  return future.get();
}

// Polls what the centre's thread does in its own time; false after 10 s.
bool eventually(const std::function<bool()>& done) {
  for (auto end = std::chrono::steady_clock::now() + 10s; !done();
       std::this_thread::sleep_for(10ms)) {
    if (std::chrono::steady_clock::now() > end) return false;
  }
  return true;
}

// The error text of add(), "" when it was taken.
std::string added(FreedesktopNotificationCenter& center, const NotificationRequest& request) {
  std::promise<std::string> result;
  auto future = result.get_future();
  center.add(request,
             [&result](std::optional<std::string> error) { result.set_value(error.value_or("")); });
  return await(std::move(future)).value_or("add() never completed");
}

NotificationRequest request(const std::string& identifier, const std::string& title,
                            double delay = 0) {
  NotificationRequest request;
  request.identifier = identifier;
  request.content.title = title;
  request.content.body = "Body of " + title;
  request.triggerDelay = delay;
  return request;
}

struct NotifyCall {
  std::string appName;
  uint32_t replacesId = 0;
  std::string summary, body, soundName;
  std::vector<std::string> actions;
  // Of the "image-data" hint; 0 without one or when its pixels do not add up.
  int imageWidth = 0, imageHeight = 0;
};

// The picture's size when the hint is well formed, 0 by 0 otherwise.
std::pair<int, int> imageSize(GVariant* hints) {
  VariantPtr image(g_variant_lookup_value(hints, "image-data", G_VARIANT_TYPE("(iiibiiay)")));
  if (!image) return {0, 0};
  gint32 width = 0, height = 0, rowstride = 0, bits = 0, channels = 0;
  gboolean alpha = FALSE;
  GVariant* pixels = nullptr;
  g_variant_get(image.get(), "(iiibii@ay)", &width, &height, &rowstride, &alpha, &bits, &channels,
                &pixels);
  VariantPtr owned(pixels);
  bool consistent =
      bits == 8 && channels == (alpha ? 4 : 3) && rowstride >= width * channels &&
      g_variant_get_size(pixels) == gsize(rowstride) * (height - 1) + gsize(width) * channels;
  return consistent ? std::pair{width, height} : std::pair{0, 0};
}

// The Notify calls the mock recorded, in order.
std::vector<NotifyCall> notifyCalls(const PrivateBus& bus) {
  VariantPtr reply = bus.call(kServer, kPath, "org.freedesktop.DBus.Mock", "GetMethodCalls",
                              g_variant_new("(s)", "Notify"));
  std::vector<NotifyCall> calls;
  VariantPtr list(g_variant_get_child_value(reply.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
    VariantPtr entry(g_variant_get_child_value(list.get(), i));
    VariantPtr boxes(g_variant_get_child_value(entry.get(), 1));
    auto argument = [&](gsize index) {
      VariantPtr boxed(g_variant_get_child_value(boxes.get(), index));
      return VariantPtr(g_variant_get_variant(boxed.get()));
    };
    auto text = [&](gsize index) {
      return std::string(g_variant_get_string(argument(index).get(), nullptr));
    };
    VariantPtr hints = argument(6);
    auto hint = [&](const char* key) {
      const gchar* value = "";
      g_variant_lookup(hints.get(), key, "&s", &value);
      return std::string(value);
    };
    gsize actionCount = 0;
    VariantPtr actions = argument(5);
    const gchar** strv = g_variant_get_strv(actions.get(), &actionCount);
    auto [width, height] = imageSize(hints.get());
    calls.push_back({text(0),
                     g_variant_get_uint32(argument(1).get()),
                     text(3),
                     text(4),
                     hint("sound-name"),
                     {strv, strv + actionCount},
                     width,
                     height});
    g_free(strv);
  }
  return calls;
}

// The Notify calls once there are `count` of them; fewer after 10 s.
std::vector<NotifyCall> notifyCalls(const PrivateBus& bus, size_t count) {
  eventually([&] { return notifyCalls(bus).size() >= count; });
  return notifyCalls(bus);
}

// A request is taken whether or not it can be shown: callers count it at
// once. The server's part comes later, and a failure goes to the log.
TEST(FreedesktopNotificationCenter, AuthorisesOnlyWhileANotificationServerAnswers) {
  enum class Setup { server, busWithoutServer, noBus };
  for (Setup setup : {Setup::server, Setup::busWithoutServer, Setup::noBus}) {
    SCOPED_TRACE(static_cast<int>(setup));
    const bool granted = setup == Setup::server;
    PrivateBus bus;  // puts the old addresses back when it goes
    if (granted) bus.startMock("notification_daemon", kServer, kCapabilities);
    if (setup == Setup::noBus)
      setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/vicinix/bus", 1);
    auto log = std::make_shared<RecordingLog>();
    FreedesktopNotificationCenter center("vicinix", log);

    std::promise<bool> answer;
    center.requestAuthorization(7, [&](bool value) { answer.set_value(value); });
    EXPECT_EQ(await(answer.get_future()), granted);
    std::promise<NotificationAuthorizationStatus> status;
    center.getNotificationSettings(
        [&](NotificationAuthorizationStatus value) { status.set_value(value); });
    EXPECT_EQ(await(status.get_future()), granted ? NotificationAuthorizationStatus::authorized
                                                  : NotificationAuthorizationStatus::denied);
    EXPECT_EQ(added(center, request("CampaignNotification_1", "Hello")), "");
    if (granted) {
      EXPECT_EQ(notifyCalls(bus, 1).size(), 1u);
      EXPECT_EQ(log->systemLines(), std::vector<std::string>{});
      continue;
    }
    ASSERT_TRUE(eventually([&] { return !log->systemLines().empty(); }));
    std::vector<std::string> lines = log->systemLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].starts_with("Notification CampaignNotification_1 not shown: "))
        << lines[0];
  }
}

// And one still waiting when the centre goes is never sent, and nothing of
// its caller is held: an SDK being torn down must not hear from it again.
TEST(FreedesktopNotificationCenter, SendsARequestWhenItsDelayHasPassedAndDropsTheRestOnExit) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  testing::TemporaryDirectory directory;
  std::ofstream(directory.path / "picture.jpg") << "not really a picture";
  bool called = false;
  auto captured = std::make_shared<int>(0);
  std::weak_ptr<int> held = captured;
  {
    FreedesktopNotificationCenter center("Vicinix Demo");
    std::string error;
    auto attachment = center.makeAttachment("picture.jpg", directory.path / "picture.jpg", error);
    ASSERT_TRUE(attachment) << error;
    EXPECT_FALSE(center.makeAttachment("missing.jpg", directory.path / "missing.jpg", error));
    EXPECT_NE(error, "");

    center.add(request("later", "Later", 3600),
               [&called, captured = std::move(captured)](auto) { called = true; });
    NotificationRequest soon = request("soon", "Sale today", 0.2);
    soon.content.defaultSound = true;
    soon.content.attachments = {*attachment};
    ASSERT_EQ(added(center, soon), "");
    EXPECT_EQ(notifyCalls(bus, 1).size(), 1u);
  }
  EXPECT_TRUE(called) << "taken when queued, an hour before it is due";
  EXPECT_TRUE(held.expired()) << "the completion is still held";

  std::vector<NotifyCall> calls = notifyCalls(bus);
  ASSERT_EQ(calls.size(), 1u) << "the request an hour away went too";
  EXPECT_EQ(calls[0].appName, "Vicinix Demo");
  EXPECT_EQ(calls[0].replacesId, 0u);
  EXPECT_EQ(calls[0].summary, "Sale today");
  EXPECT_EQ(calls[0].body, "Body of Sale today");
  EXPECT_EQ(calls[0].actions, (std::vector<std::string>{"default", "Open"}));
  EXPECT_EQ(calls[0].imageWidth, 0) << "a file that is no picture is left out";
  EXPECT_TRUE(std::filesystem::exists(directory.path / "picture.jpg"))
      << "a picture from outside its folder is the caller's";
  EXPECT_EQ(calls[0].soundName, "message-new-instant");
}

// A JPEG of `width` by `height` at `file`, in a folder of its own.
void writePicture(const std::filesystem::path& file, int width, int height) {
  std::filesystem::create_directories(file.parent_path());
  GdkPixbuf* pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height);
  gdk_pixbuf_fill(pixbuf, 0x3366ccff);
  ASSERT_TRUE(gdk_pixbuf_save(pixbuf, file.c_str(), "jpeg", nullptr, nullptr));
  g_object_unref(pixbuf);
}

std::set<std::string> namesIn(const std::filesystem::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    names.insert(entry.path().filename().string());
  return names;
}

// Pictures are written to the centre's own folder and leave it once the
// server has their pixels, or once nothing will send them. Folders of dead
// processes are swept when a centre starts; a running one's are not.
TEST(FreedesktopNotificationCenter, KeepsAPictureOnlyUntilTheServerHasItsPixels) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  testing::TemporaryDirectory root;
  writePicture(root.path / "crashed" / "vicinix-1" / "old.jpg", 4, 4);
  std::ofstream(root.path / "stray") << "x";
  std::filesystem::create_directory(root.path / "running");
  int running = open((root.path / "running").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(running, LOCK_EX), 0);
  {
    FreedesktopNotificationCenter center("vicinix", nullptr, root.path);
    const std::filesystem::path own = center.attachmentDirectory();
    EXPECT_EQ(own.parent_path(), root.path);
    EXPECT_EQ(namesIn(root.path),
              (std::set<std::string>{".lock", "running", own.filename().string()}));

    std::string error;
    writePicture(own / "vicinix-a" / "stale.jpg", 8, 8);
    auto stale = center.makeAttachment("stale.jpg", own / "vicinix-a" / "stale.jpg", error);
    writePicture(own / "vicinix-b" / "wide.jpg", 1024, 512);
    auto wide = center.makeAttachment("wide.jpg", own / "vicinix-b" / "wide.jpg", error);
    ASSERT_TRUE(stale && wide) << error;
    NotificationRequest first = request("CampaignNotification_1", "Stale", 3600);
    first.content.attachments = {*stale};
    ASSERT_EQ(added(center, first), "");
    NotificationRequest second = request("CampaignNotification_1", "Sale");
    second.content.attachments = {*wide};
    ASSERT_EQ(added(center, second), "");

    std::vector<NotifyCall> calls = notifyCalls(bus, 1);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].summary, "Sale");
    EXPECT_EQ(std::pair(calls[0].imageWidth, calls[0].imageHeight), std::pair(512, 256));
    EXPECT_TRUE(eventually([&] { return namesIn(own).empty(); }))
        << namesIn(own).size() << " left behind";
  }
  EXPECT_EQ(namesIn(root.path), (std::set<std::string>{".lock", "running"}));
  close(running);
}

TEST(FreedesktopNotificationCenter, ARequestReplacesTheOneWithItsIdentifierOnTheSameServerOnly) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  FreedesktopNotificationCenter center;
  ASSERT_EQ(added(center, request("shown", "First")), "");
  ASSERT_EQ(notifyCalls(bus, 1).size(), 1u);
  ASSERT_EQ(added(center, request("other", "Other")), "");
  ASSERT_EQ(notifyCalls(bus, 2).size(), 2u);
  ASSERT_EQ(added(center, request("shown", "Second")), "");
  ASSERT_EQ(notifyCalls(bus, 3).size(), 3u);
  // A request still waiting is replaced before it goes; both were taken.
  std::promise<std::optional<std::string>> stale;
  center.add(request("waiting", "Stale", 3600),
             [&](std::optional<std::string> result) { stale.set_value(result); });
  auto staleFuture = stale.get_future();
  ASSERT_EQ(added(center, request("waiting", "Fresh")), "");
  auto staleResult = await(std::move(staleFuture));
  ASSERT_TRUE(staleResult) << "the replaced request never completed";
  EXPECT_EQ(*staleResult, std::nullopt);

  std::vector<NotifyCall> calls = notifyCalls(bus, 4);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].replacesId, 0u);
  EXPECT_EQ(calls[1].replacesId, 0u);
  EXPECT_EQ(calls[2].summary, "Second");
  EXPECT_EQ(calls[2].replacesId, 1u) << "the mock's first id";
  EXPECT_EQ(calls[3].summary, "Fresh");
  EXPECT_EQ(calls[3].replacesId, 0u);

  bus.stopMocks();
  bus.startMock("notification_daemon", kServer, kCapabilities);
  ASSERT_EQ(added(center, request("shown", "Third")), "");
  calls = notifyCalls(bus, 1);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].replacesId, 0u) << "id 1 of the new server is someone else's";
}

TEST(FreedesktopNotificationCenter, HandsAClickOnItsOwnNotificationToTheResponseHandler) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  FreedesktopNotificationCenter center;
  std::promise<NotificationResponse> clicked;
  auto clickedFuture = clicked.get_future();
  center.setResponseHandler(
      [&](const NotificationResponse& response) { clicked.set_value(response); });
  NotificationRequest campaign = request("CampaignNotification_abc", "Sale");
  campaign.content.userInfo = {{"campaignID", "abc"}};
  ASSERT_EQ(added(center, campaign), "");
  ASSERT_EQ(notifyCalls(bus, 1).size(), 1u);

  // Another application's notification comes first; only ours may answer.
  for (uint32_t id : {77, 1})
    bus.call(kServer, kPath, "org.freedesktop.DBus.Mock", "EmitSignal",
             g_variant_new_parsed("(%s, 'ActionInvoked', 'us', [<%u>, <'default'>])", kServer, id));

  std::optional<NotificationResponse> response = await(std::move(clickedFuture));
  ASSERT_TRUE(response);
  EXPECT_EQ(response->request, campaign);
  EXPECT_EQ(response->actionIdentifier, "default");
}

}  // namespace
}  // namespace vicinix
