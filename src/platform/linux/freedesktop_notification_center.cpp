#include "platform/linux/freedesktop_notification_center.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gio/gio.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "platform/linux/session_bus_address.h"

namespace vicinix {
namespace {

constexpr const char* kServerName = "org.freedesktop.Notifications";
constexpr const char* kServerPath = "/org/freedesktop/Notifications";
constexpr const char* kServerInterface = "org.freedesktop.Notifications";
constexpr int kCallTimeoutMs = 10000;
constexpr guint kConnectTimeoutMs = 10000;
// Larger than any server shows a notification's picture; keeps the message
// under a megabyte.
constexpr int kMaxImageSide = 512;

using AddCompletion = std::function<void(std::optional<std::string>)>;

// D-Bus strings must be UTF-8; texts from the backend are not checked for it.
std::string validUtf8(const std::string& text) {
  if (g_utf8_validate(text.c_str(), -1, nullptr)) return text;
  gchar* repaired = g_utf8_make_valid(text.c_str(), -1);
  std::string result(repaired);
  g_free(repaired);
  return result;
}

// The picture's pixels as the "image-data" hint wants them, or null when the
// file does not decode. Servers must prefer this to "image-path", and unlike
// a path, which a server may read again whenever it redraws, it needs no
// file once the message is sent.
GVariant* imageData(const std::filesystem::path& file) {
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(file.c_str(), nullptr);
  if (pixbuf == nullptr) return nullptr;
  int width = gdk_pixbuf_get_width(pixbuf);
  int height = gdk_pixbuf_get_height(pixbuf);
  if (std::max(width, height) > kMaxImageSide) {
    double scale = double(kMaxImageSide) / std::max(width, height);
    width = std::max(1, int(std::lround(width * scale)));
    height = std::max(1, int(std::lround(height * scale)));
    GdkPixbuf* scaled = gdk_pixbuf_scale_simple(pixbuf, width, height, GDK_INTERP_BILINEAR);
    g_object_unref(pixbuf);
    if (scaled == nullptr) return nullptr;
    pixbuf = scaled;
  }
  GBytes* pixels = gdk_pixbuf_read_pixel_bytes(pixbuf);
  GVariant* data =
      g_variant_new("(iiibii@ay)", width, height, gdk_pixbuf_get_rowstride(pixbuf),
                    gdk_pixbuf_get_has_alpha(pixbuf), gdk_pixbuf_get_bits_per_sample(pixbuf),
                    gdk_pixbuf_get_n_channels(pixbuf),
                    g_variant_new_from_bytes(G_VARIANT_TYPE_BYTESTRING, pixels, TRUE));
  g_bytes_unref(pixels);
  g_object_unref(pixbuf);
  return data;
}

}  // namespace

// Everything below runs on the centre's thread, except post() and the
// response handler's setter.
class FreedesktopNotificationCenter::Core {
 public:
  Core(std::string appName, std::shared_ptr<Log> log,
       std::shared_ptr<const NotificationPictureFolder> pictures)
      : appName_(validUtf8(appName)),
        log_(std::move(log)),
        pictures_(std::move(pictures)),
        context_(g_main_context_new()),
        cancellable_(g_cancellable_new()) {}

  ~Core() {
    g_object_unref(cancellable_);
    g_main_context_unref(context_);
  }

  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  void run() {
    pthread_setname_np(pthread_self(), "notifications");
    g_main_context_push_thread_default(context_);
    // Until shut down, and then until GIO has handed back every operation, so
    // no callback of ours is left behind in the context.
    while (!stopping_ || inflight_ > 0) g_main_context_iteration(context_, TRUE);
    g_main_context_pop_thread_default(context_);
  }

  // Any thread.
  void post(std::function<void()> task) {
    {
      std::lock_guard lock(tasksMutex_);
      tasks_.push_back(std::move(task));
    }
    // One idle source per task keeps them in posting order. The task itself
    // goes through our mutex so that ThreadSanitizer sees the hand-over.
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, runTask, this, nullptr);
    g_source_attach(source, context_);
    g_source_unref(source);
  }

  // Any thread.
  void setResponseHandler(std::function<void(const NotificationResponse&)> handler) {
    std::lock_guard lock(handlerMutex_);
    handler_ = std::move(handler);
  }

  void probeServer(std::function<void(bool)> done) {
    withConnection([this, done = std::move(done)](const std::string& error) {
      if (!error.empty()) return done(false);
      call("GetServerInformation", nullptr, G_VARIANT_TYPE("(ssss)"),
           [done](GVariant* reply, const std::string&) { done(reply != nullptr); });
    });
  }

  void add(NotificationRequest request, AddCompletion completion) {
    if (stopping_) return;
    Waiting& waiting = waiting_[request.identifier];
    if (waiting.timer != nullptr) dropTimer(waiting);
    // The request replaced never goes out; its picture is not needed.
    for (const auto& attachment : waiting.request.content.attachments) {
      if (std::ranges::find(request.content.attachments, attachment) ==
          request.content.attachments.end()) {
        pictures_->remove(attachment.file);
      }
    }
    waiting.request = std::move(request);
    waiting.due = false;
    double delay = waiting.request.triggerDelay;
    double millis = std::isnan(delay) ? 0 : std::clamp(delay * 1000, 0.0, double(G_MAXUINT));
    waiting.timer = g_timeout_source_new(guint(std::ceil(millis)));
    g_source_set_callback(waiting.timer, onDue, new DueTimer{this, waiting.request.identifier},
                          [](gpointer timer) { delete static_cast<DueTimer*>(timer); });
    g_source_attach(waiting.timer, context_);
    // Taken: whatever the server says later is ours to report, not the caller's.
    completion(std::nullopt);
  }

  void shutDown() {
    stopping_ = true;
    g_cancellable_cancel(cancellable_);
    if (attemptCancellable_ != nullptr) g_cancellable_cancel(attemptCancellable_);
    if (connectTimeout_ != nullptr) {
      g_source_destroy(connectTimeout_);
      g_source_unref(connectTimeout_);
      connectTimeout_ = nullptr;
    }
    // What is still waiting is not shown: the SDK that asked is going away.
    for (auto& [identifier, entry] : waiting_) {
      if (entry.timer != nullptr) dropTimer(entry);
    }
    waiting_.clear();
    waitingForConnection_.clear();
    dropConnection();
  }

 private:
  struct Waiting {
    NotificationRequest request;
    GSource* timer = nullptr;
    // Its time came while the previous notification with its identifier was
    // still on its way; it goes as soon as that one has an id.
    bool due = false;
  };

  struct DueTimer {
    Core* core;
    std::string identifier;
  };

  using Reply = std::function<void(GVariant* reply, const std::string& error)>;
  struct PendingCall {
    Core* core;
    Reply done;
  };

  static gboolean runTask(gpointer data) {
    auto* core = static_cast<Core*>(data);
    std::function<void()> task;
    {
      std::lock_guard lock(core->tasksMutex_);
      task = std::move(core->tasks_.front());
      core->tasks_.pop_front();
    }
    task();
    return G_SOURCE_REMOVE;
  }

  static gboolean onDue(gpointer data) {
    auto* timer = static_cast<DueTimer*>(data);
    timer->core->due(timer->identifier);
    return G_SOURCE_REMOVE;
  }

  void dropTimer(Waiting& waiting) {
    g_source_destroy(waiting.timer);
    g_source_unref(waiting.timer);
    waiting.timer = nullptr;
  }

  void due(const std::string& identifier) {
    auto found = waiting_.find(identifier);
    if (found == waiting_.end()) return;
    g_source_unref(found->second.timer);
    found->second.timer = nullptr;
    // Sent now, it would not know the id to replace.
    if (sending_.contains(identifier)) {
      found->second.due = true;
      return;
    }
    send(identifier);
  }

  void send(const std::string& identifier) {
    auto node = waiting_.extract(identifier);
    if (node.empty()) return;
    sending_.insert(identifier);
    auto outgoing = std::make_shared<Waiting>(std::move(node.mapped()));
    withConnection([this, identifier, outgoing](const std::string& error) {
      if (!error.empty()) {
        discardPictures(outgoing->request);
        return finishSending(identifier, error);
      }
      withCapabilities([this, identifier, outgoing] { notify(identifier, outgoing); });
    });
  }

  void notify(const std::string& identifier, std::shared_ptr<Waiting> outgoing) {
    const NotificationRequest& request = outgoing->request;
    auto shown = shownByIdentifier_.find(identifier);
    uint32_t replaces = shown != shownByIdentifier_.end() ? shown->second : 0;

    GVariantBuilder actions;
    g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
    // "default" is what a click on the notification itself reports.
    g_variant_builder_add(&actions, "s", "default");
    g_variant_builder_add(&actions, "s", "Open");
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
    if (!request.content.attachments.empty()) {
      const std::filesystem::path& file = request.content.attachments.front().file;
      if (GVariant* pixels = imageData(file)) {
        g_variant_builder_add(&hints, "{sv}", "image-data", pixels);
      } else if (log_) {
        log_->systemLine("Notification " + identifier +
                         " goes without its picture: " + file.string() + " does not decode");
      }
    }
    if (request.content.defaultSound) {
      g_variant_builder_add(&hints, "{sv}", "sound-name",
                            g_variant_new_string("message-new-instant"));
    }
    std::string body = validUtf8(request.content.body);
    if (capabilities_.contains("body-markup")) {
      // Such a server reads the body as markup; "H&M" must not break it.
      gchar* escaped = g_markup_escape_text(body.c_str(), -1);
      body = escaped;
      g_free(escaped);
    }
    GVariant* parameters =
        g_variant_new("(susssasa{sv}i)", appName_.c_str(), replaces, "",
                      validUtf8(request.content.title).c_str(), body.c_str(), &actions, &hints, -1);
    call("Notify", parameters, G_VARIANT_TYPE("(u)"),
         [this, identifier, outgoing](GVariant* reply, const std::string& error) {
           // Shown or refused, the server has had the pixels.
           discardPictures(outgoing->request);
           if (reply != nullptr) {
             guint32 id = 0;
             g_variant_get(reply, "(u)", &id);
             remember(identifier, id, outgoing->request);
           }
           finishSending(identifier, reply != nullptr ? std::string() : error);
         });
  }

  void discardPictures(const NotificationRequest& request) {
    for (const auto& attachment : request.content.attachments) pictures_->remove(attachment.file);
  }

  void remember(const std::string& identifier, uint32_t id, const NotificationRequest& request) {
    auto previous = shownByIdentifier_.find(identifier);
    if (previous != shownByIdentifier_.end() && previous->second != id) {
      shownById_.erase(previous->second);
    }
    shownByIdentifier_[identifier] = id;
    shownById_[id] = request;
  }

  void finishSending(const std::string& identifier, const std::string& error) {
    sending_.erase(identifier);
    if (!error.empty() && log_)
      log_->systemLine("Notification " + identifier + " not shown: " + error);
    auto next = waiting_.find(identifier);
    if (next != waiting_.end() && next->second.due) send(identifier);
  }

  // Runs `then` with an open connection to the session bus, or with the
  // reason there is none.
  void withConnection(std::function<void(const std::string& error)> then) {
    if (stopping_) return;
    if (connection_ != nullptr && !g_dbus_connection_is_closed(connection_)) return then({});
    // The bus went away; whatever we knew about the server went with it.
    if (connection_ != nullptr) dropConnection();
    waitingForConnection_.push_back(std::move(then));
    if (connecting_) return;
    std::optional<std::string> address = sessionBusAddress();
    if (!address) return connected(nullptr, "no session bus");
    connecting_ = true;
    ++inflight_;
    attemptCancellable_ = g_cancellable_new();
    // A bus that accepts the socket but never answers must not hold us forever.
    connectTimeout_ = g_timeout_source_new(kConnectTimeoutMs);
    g_source_set_callback(connectTimeout_, onConnectTimeout, this, nullptr);
    g_source_attach(connectTimeout_, context_);
    g_dbus_connection_new_for_address(
        address->c_str(),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, attemptCancellable_, onConnected, this);
  }

  static gboolean onConnectTimeout(gpointer data) {
    auto* core = static_cast<Core*>(data);
    g_source_unref(core->connectTimeout_);
    core->connectTimeout_ = nullptr;
    g_cancellable_cancel(core->attemptCancellable_);
    return G_SOURCE_REMOVE;
  }

  static void onConnected(GObject*, GAsyncResult* result, gpointer data) {
    auto* core = static_cast<Core*>(data);
    --core->inflight_;
    core->connecting_ = false;
    g_object_unref(core->attemptCancellable_);
    core->attemptCancellable_ = nullptr;
    if (core->connectTimeout_ != nullptr) {
      g_source_destroy(core->connectTimeout_);
      g_source_unref(core->connectTimeout_);
      core->connectTimeout_ = nullptr;
    }
    GError* error = nullptr;
    GDBusConnection* connection = g_dbus_connection_new_for_address_finish(result, &error);
    std::string reason =
        error != nullptr ? std::string("cannot reach the session bus: ") + error->message : "";
    if (error != nullptr) g_error_free(error);
    core->connected(connection, reason);
  }

  void connected(GDBusConnection* connection, const std::string& error) {
    if (connection != nullptr) {
      connection_ = connection;
      subscribe();
      if (stopping_) dropConnection();
    }
    auto waiting = std::move(waitingForConnection_);
    waitingForConnection_.clear();
    if (stopping_) return;
    for (auto& then : waiting) then(connection_ != nullptr ? std::string() : error);
  }

  void subscribe() {
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(
        connection_, kServerName, kServerInterface, "ActionInvoked", kServerPath, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onActionInvoked, this, nullptr));
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(
        connection_, kServerName, kServerInterface, "NotificationClosed", kServerPath, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onNotificationClosed, this, nullptr));
    // Ids of a server that restarted would replace or match the wrong notifications.
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(
        connection_, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", kServerName, G_DBUS_SIGNAL_FLAGS_NONE, onServerChanged, this,
        nullptr));
  }

  void dropConnection() {
    forgetServer();
    if (connection_ == nullptr) return;
    for (guint subscription : subscriptions_) {
      g_dbus_connection_signal_unsubscribe(connection_, subscription);
    }
    subscriptions_.clear();
    ++inflight_;
    g_dbus_connection_close(connection_, nullptr, onClosed, this);
    g_object_unref(connection_);
    connection_ = nullptr;
  }

  static void onClosed(GObject* connection, GAsyncResult* result, gpointer data) {
    g_dbus_connection_close_finish(G_DBUS_CONNECTION(connection), result, nullptr);
    --static_cast<Core*>(data)->inflight_;
  }

  void forgetServer() {
    shownByIdentifier_.clear();
    shownById_.clear();
    capabilities_.clear();
    capabilitiesKnown_ = false;
  }

  static void onServerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                              const gchar*, GVariant* parameters, gpointer data) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) return;
    const gchar* oldOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", nullptr, &oldOwner, nullptr);
    // A server that starts has no notifications of ours; one that stops or
    // is replaced takes them, and the meaning of its ids, with it.
    if (oldOwner[0] != '\0') static_cast<Core*>(data)->forgetServer();
  }

  void withCapabilities(std::function<void()> then) {
    if (capabilitiesKnown_) return then();
    call("GetCapabilities", nullptr, G_VARIANT_TYPE("(as)"),
         [this, then = std::move(then)](GVariant* reply, const std::string&) {
           if (reply != nullptr) {
             GVariantIter* names = nullptr;
             const gchar* name = nullptr;
             g_variant_get(reply, "(as)", &names);
             while (g_variant_iter_loop(names, "&s", &name)) capabilities_.insert(name);
             g_variant_iter_free(names);
             capabilitiesKnown_ = true;
           }
           // Without an answer, Notify will say why.
           then();
         });
  }

  static void onActionInvoked(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                              const gchar*, GVariant* parameters, gpointer data) {
    auto* core = static_cast<Core*>(data);
    if (core->stopping_ || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) return;
    guint32 id = 0;
    const gchar* action = nullptr;
    g_variant_get(parameters, "(u&s)", &id, &action);
    auto shown = core->shownById_.find(id);
    // Other applications' notifications share the server's ids.
    if (shown == core->shownById_.end()) return;
    NotificationResponse response{.request = shown->second, .actionIdentifier = action};
    std::function<void(const NotificationResponse&)> handler;
    {
      std::lock_guard lock(core->handlerMutex_);
      handler = core->handler_;
    }
    if (handler) handler(response);
  }

  static void onNotificationClosed(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                   const gchar*, GVariant* parameters, gpointer data) {
    auto* core = static_cast<Core*>(data);
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) return;
    guint32 id = 0;
    guint32 reason = 0;
    g_variant_get(parameters, "(uu)", &id, &reason);
    auto shown = core->shownById_.find(id);
    if (shown == core->shownById_.end()) return;
    auto byIdentifier = core->shownByIdentifier_.find(shown->second.identifier);
    if (byIdentifier != core->shownByIdentifier_.end() && byIdentifier->second == id) {
      core->shownByIdentifier_.erase(byIdentifier);
    }
    core->shownById_.erase(shown);
  }

  // A method of the notification server. `done` gets the reply, or null and
  // the error in words.
  void call(const char* method, GVariant* parameters, const GVariantType* replyType, Reply done) {
    ++inflight_;
    g_dbus_connection_call(connection_, kServerName, kServerPath, kServerInterface, method,
                           parameters, replyType, G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs,
                           cancellable_, onReply, new PendingCall{this, std::move(done)});
  }

  static void onReply(GObject* connection, GAsyncResult* result, gpointer data) {
    std::unique_ptr<PendingCall> pending(static_cast<PendingCall*>(data));
    Core* core = pending->core;
    --core->inflight_;
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    std::string message;
    if (error != nullptr) {
      g_dbus_error_strip_remote_error(error);
      message = error->message;
      g_error_free(error);
    }
    if (!core->stopping_) pending->done(reply, message);
    if (reply != nullptr) g_variant_unref(reply);
  }

  const std::string appName_;
  const std::shared_ptr<Log> log_;
  const std::shared_ptr<const NotificationPictureFolder> pictures_;
  GMainContext* const context_;
  GCancellable* const cancellable_;

  std::mutex tasksMutex_;
  std::deque<std::function<void()>> tasks_;
  std::mutex handlerMutex_;
  std::function<void(const NotificationResponse&)> handler_;

  bool stopping_ = false;
  int inflight_ = 0;
  GDBusConnection* connection_ = nullptr;
  bool connecting_ = false;
  GCancellable* attemptCancellable_ = nullptr;
  GSource* connectTimeout_ = nullptr;
  std::vector<std::function<void(const std::string&)>> waitingForConnection_;
  std::vector<guint> subscriptions_;
  bool capabilitiesKnown_ = false;
  std::set<std::string> capabilities_;

  std::map<std::string, Waiting> waiting_;
  std::set<std::string> sending_;
  std::map<std::string, uint32_t> shownByIdentifier_;
  std::map<uint32_t, NotificationRequest> shownById_;
};

FreedesktopNotificationCenter::FreedesktopNotificationCenter(std::string appName,
                                                             std::shared_ptr<Log> log,
                                                             const std::filesystem::path& pictures)
    : pictures_(std::make_shared<NotificationPictureFolder>(pictures, log)),
      core_(std::make_shared<Core>(std::move(appName), std::move(log), pictures_)) {
  thread_ = std::thread([core = core_] { core->run(); });
}

FreedesktopNotificationCenter::~FreedesktopNotificationCenter() {
  Core* core = core_.get();
  core->post([core] { core->shutDown(); });
  // Destroyed from one of its own callbacks, the thread finishes on its own.
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void FreedesktopNotificationCenter::requestAuthorization(
    int, std::function<void(bool granted)> completion) {
  Core* core = core_.get();
  core_->post([core, completion = std::move(completion)]() mutable {
    core->probeServer(std::move(completion));
  });
}

void FreedesktopNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
  Core* core = core_.get();
  core_->post([core, completion = std::move(completion)] {
    core->probeServer([completion](bool answered) {
      completion(answered ? NotificationAuthorizationStatus::authorized
                          : NotificationAuthorizationStatus::denied);
    });
  });
}

void FreedesktopNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string>)> completion) {
  Core* core = core_.get();
  core_->post([core, request, completion = std::move(completion)]() mutable {
    core->add(std::move(request), std::move(completion));
  });
}

std::filesystem::path FreedesktopNotificationCenter::attachmentDirectory() {
  return pictures_->path();
}

std::optional<NotificationAttachment> FreedesktopNotificationCenter::makeAttachment(
    const std::string& identifier, const std::filesystem::path& file, std::string& error) {
  std::error_code failure;
  auto status = std::filesystem::status(file, failure);
  if (failure || !std::filesystem::exists(status)) {
    error = "no file at " + file.string();
    return std::nullopt;
  }
  if (!std::filesystem::is_regular_file(status)) {
    error = file.string() + " is not a regular file";
    return std::nullopt;
  }
  if (access(file.c_str(), R_OK) != 0) {
    error = "cannot read " + file.string() + ": " + std::strerror(errno);
    return std::nullopt;
  }
  // The server reads it later, from another working directory.
  std::filesystem::path absolute = std::filesystem::absolute(file, failure);
  if (failure) absolute = file;
  return NotificationAttachment{.identifier = identifier, .file = absolute};
}

void FreedesktopNotificationCenter::setResponseHandler(
    std::function<void(const NotificationResponse&)> handler) {
  core_->setResponseHandler(std::move(handler));
}

}  // namespace vicinix
