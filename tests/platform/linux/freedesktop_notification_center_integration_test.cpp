#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <optional>
#include <string>
#include <vector>

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
std::optional<T> await(std::future<T>& future) {
  if (future.wait_for(10s) != std::future_status::ready) return std::nullopt;
  return future.get();
}

// The error text of add(), "" when it was taken.
std::string added(FreedesktopNotificationCenter& center, const NotificationRequest& request) {
  std::promise<std::string> result;
  auto future = result.get_future();
  center.add(request,
             [&result](std::optional<std::string> error) { result.set_value(error.value_or("")); });
  return await(future).value_or("add() never completed");
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

// One Notify call as the mock recorded it.
struct NotifyCall {
  std::string appName;
  uint32_t replacesId = 0;
  std::string summary;
  std::string body;
  std::vector<std::string> actions;
  std::map<std::string, std::string> hints;
};

std::vector<NotifyCall> notifyCalls(const PrivateBus& bus) {
  VariantPtr reply = bus.call(kServer, kPath, "org.freedesktop.DBus.Mock", "GetMethodCalls",
                              g_variant_new("(s)", "Notify"));
  std::vector<NotifyCall> calls;
  VariantPtr list(g_variant_get_child_value(reply.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
    VariantPtr entry(g_variant_get_child_value(list.get(), i));
    VariantPtr arguments(g_variant_get_child_value(entry.get(), 1));
    auto argument = [&](gsize index) {
      VariantPtr boxed(g_variant_get_child_value(arguments.get(), index));
      return VariantPtr(g_variant_get_variant(boxed.get()));
    };
    NotifyCall call;
    call.appName = g_variant_get_string(argument(0).get(), nullptr);
    call.replacesId = g_variant_get_uint32(argument(1).get());
    call.summary = g_variant_get_string(argument(3).get(), nullptr);
    call.body = g_variant_get_string(argument(4).get(), nullptr);
    VariantPtr actions = argument(5);
    for (gsize a = 0; a < g_variant_n_children(actions.get()); ++a) {
      VariantPtr action(g_variant_get_child_value(actions.get(), a));
      call.actions.push_back(g_variant_get_string(action.get(), nullptr));
    }
    VariantPtr hints = argument(6);
    GVariantIter iter;
    g_variant_iter_init(&iter, hints.get());
    const gchar* key = nullptr;
    GVariant* value = nullptr;
    while (g_variant_iter_loop(&iter, "{&sv}", &key, &value)) {
      if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        call.hints[key] = g_variant_get_string(value, nullptr);
      }
    }
    calls.push_back(call);
  }
  return calls;
}

void emitActionInvoked(const PrivateBus& bus, uint32_t id, const char* action) {
  GVariantBuilder arguments;
  g_variant_builder_init(&arguments, G_VARIANT_TYPE("av"));
  g_variant_builder_add(&arguments, "v", g_variant_new_uint32(id));
  g_variant_builder_add(&arguments, "v", g_variant_new_string(action));
  bus.call(kServer, kPath, "org.freedesktop.DBus.Mock", "EmitSignal",
           g_variant_new("(sssav)", kServer, "ActionInvoked", "us", &arguments));
}

class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    if (old != nullptr) old_ = old;
    setenv(name, value, 1);
  }
  ~ScopedEnvironment() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(FreedesktopNotificationCenter, AuthorisesOnlyWhileANotificationServerAnswers) {
  enum class Setup { server, busWithoutServer, noBus };
  struct Case {
    const char* name;
    Setup setup;
    bool granted;
  };
  for (const Case& c : {Case{"server", Setup::server, true},
                        Case{"bus without a server", Setup::busWithoutServer, false},
                        Case{"no bus", Setup::noBus, false}}) {
    SCOPED_TRACE(c.name);
    std::optional<PrivateBus> bus;
    std::optional<ScopedEnvironment> noBus;
    if (c.setup == Setup::noBus) {
      noBus.emplace("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/vicinix/bus");
    } else {
      bus.emplace();
      if (c.setup == Setup::server) bus->startMock("notification_daemon", kServer, kCapabilities);
    }
    FreedesktopNotificationCenter center;

    std::promise<bool> granted;
    auto grantedFuture = granted.get_future();
    center.requestAuthorization(7, [&](bool answer) { granted.set_value(answer); });
    EXPECT_EQ(await(grantedFuture), c.granted);

    std::promise<NotificationAuthorizationStatus> status;
    auto statusFuture = status.get_future();
    center.getNotificationSettings(
        [&](NotificationAuthorizationStatus answer) { status.set_value(answer); });
    EXPECT_EQ(await(statusFuture), c.granted ? NotificationAuthorizationStatus::authorized
                                             : NotificationAuthorizationStatus::denied);

    std::string error = added(center, request("CampaignNotification_1", "Hello"));
    EXPECT_EQ(error.empty(), c.granted) << error;
  }
}

TEST(FreedesktopNotificationCenter, SendsARequestWhenItsDelayHasPassed) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  testing::TemporaryDirectory directory;
  std::ofstream(directory.path / "picture.jpg") << "not really a picture";
  FreedesktopNotificationCenter center("Vicinix Demo");

  std::string error;
  auto attachment = center.makeAttachment("picture.jpg", directory.path / "picture.jpg", error);
  ASSERT_TRUE(attachment) << error;
  EXPECT_FALSE(center.makeAttachment("missing.jpg", directory.path / "missing.jpg", error));
  EXPECT_NE(error, "");

  center.add(request("later", "Later", 3600), [](std::optional<std::string>) {});
  NotificationRequest soon = request("soon", "Sale today", 0.2);
  soon.content.defaultSound = true;
  soon.content.attachments = {*attachment};
  ASSERT_EQ(added(center, soon), "");

  std::vector<NotifyCall> calls = notifyCalls(bus);
  ASSERT_EQ(calls.size(), 1u) << "the request an hour away went too";
  EXPECT_EQ(calls[0].appName, "Vicinix Demo");
  EXPECT_EQ(calls[0].replacesId, 0u);
  EXPECT_EQ(calls[0].summary, "Sale today");
  EXPECT_EQ(calls[0].body, "Body of Sale today");
  EXPECT_EQ(calls[0].actions, (std::vector<std::string>{"default", "Open"}));
  EXPECT_EQ(calls[0].hints["image-path"], "file://" + (directory.path / "picture.jpg").string());
  EXPECT_EQ(calls[0].hints["sound-name"], "message-new-instant");
}

TEST(FreedesktopNotificationCenter, ARequestReplacesTheOneWithItsIdentifier) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  std::promise<std::optional<std::string>> staleResult;
  auto staleFuture = staleResult.get_future();
  FreedesktopNotificationCenter center;

  ASSERT_EQ(added(center, request("shown", "First")), "");
  ASSERT_EQ(added(center, request("other", "Other")), "");
  ASSERT_EQ(added(center, request("shown", "Second")), "");
  // A request still waiting is replaced before it goes; both callers hear
  // how the one that went fared.
  center.add(request("waiting", "Stale", 3600),
             [&](std::optional<std::string> result) { staleResult.set_value(result); });
  ASSERT_EQ(added(center, request("waiting", "Fresh")), "");
  auto stale = await(staleFuture);
  ASSERT_TRUE(stale) << "the replaced request never completed";
  EXPECT_EQ(*stale, std::nullopt);

  std::vector<NotifyCall> calls = notifyCalls(bus);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].replacesId, 0u);
  EXPECT_EQ(calls[1].replacesId, 0u);
  EXPECT_EQ(calls[2].summary, "Second");
  EXPECT_EQ(calls[2].replacesId, 1u) << "the mock's first id";
  EXPECT_EQ(calls[3].summary, "Fresh");
  EXPECT_EQ(calls[3].replacesId, 0u);
}

TEST(FreedesktopNotificationCenter, ForgetsTheIdsOfAServerThatWentAway) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  FreedesktopNotificationCenter center;
  ASSERT_EQ(added(center, request("campaign", "First")), "");

  bus.stopMocks();
  bus.startMock("notification_daemon", kServer, kCapabilities);
  ASSERT_EQ(added(center, request("campaign", "Second")), "");

  std::vector<NotifyCall> calls = notifyCalls(bus);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].replacesId, 0u) << "id 1 of the new server is someone else's";
}

TEST(FreedesktopNotificationCenter, HandsAClickOnItsNotificationToTheResponseHandler) {
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

  // Another application's notification comes first; only ours may answer.
  emitActionInvoked(bus, 77, "default");
  emitActionInvoked(bus, 1, "default");

  std::optional<NotificationResponse> response = await(clickedFuture);
  ASSERT_TRUE(response);
  EXPECT_EQ(response->request, campaign);
  EXPECT_EQ(response->actionIdentifier, "default");
}

TEST(FreedesktopNotificationCenter, GoesWithoutCallingBackWhatIsStillWaiting) {
  PrivateBus bus;
  bus.startMock("notification_daemon", kServer, kCapabilities);
  // An SDK being torn down must not hear from it again.
  bool called = false;
  auto captured = std::make_shared<int>(0);
  std::weak_ptr<int> held = captured;
  {
    FreedesktopNotificationCenter center;
    center.add(request("later", "Later", 3600), [&called, captured = std::move(captured)](
                                                    std::optional<std::string>) { called = true; });
  }
  EXPECT_FALSE(called);
  EXPECT_TRUE(held.expired()) << "the dropped completion is still held";
  EXPECT_TRUE(notifyCalls(bus).empty());
}

}  // namespace
}  // namespace vicinix
