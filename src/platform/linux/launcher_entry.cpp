#include "platform/linux/launcher_entry.h"

#include <gio/gio.h>

#include <optional>

#include "platform/linux/session_bus_address.h"

namespace vicinix {

struct LauncherEntry::State {
  std::string uri;
  std::string path;
  GDBusConnection* connection = nullptr;
  GCancellable* connecting = nullptr;
  std::optional<int64_t> count;

  ~State() {
    if (connecting != nullptr) {
      g_cancellable_cancel(connecting);
      g_object_unref(connecting);
    }
    if (connection != nullptr) g_object_unref(connection);
  }

  void send() {
    if (!count || connection == nullptr) return;
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&properties, "{sv}", "count", g_variant_new_int64(*count));
    g_variant_builder_add(&properties, "{sv}", "count-visible", g_variant_new_boolean(*count > 0));
    // A broadcast: whichever dock shows the entry picks it up.
    g_dbus_connection_emit_signal(connection, nullptr, path.c_str(),
                                  "com.canonical.Unity.LauncherEntry", "Update",
                                  g_variant_new("(sa{sv})", uri.c_str(), &properties), nullptr);
  }

  static void onConnected(GObject*, GAsyncResult* result, gpointer data) {
    auto* weak = static_cast<std::weak_ptr<State>*>(data);
    GDBusConnection* connection = g_dbus_connection_new_for_address_finish(result, nullptr);
    std::shared_ptr<State> state = weak->lock();
    delete weak;
    if (!state) {
      if (connection != nullptr) g_object_unref(connection);
      return;
    }
    g_clear_object(&state->connecting);
    // No bus after all: the count stays in memory and the next one tries again.
    state->connection = connection;
    state->send();
  }
};

LauncherEntry::LauncherEntry(const std::string& desktopId) : state_(std::make_shared<State>()) {
  state_->uri = "application://" + desktopId + ".desktop";
  // Any object path will do; one per entry keeps two applications apart.
  state_->path =
      "/com/canonical/unity/launcherentry/" + std::to_string(g_str_hash(desktopId.c_str()));
}

LauncherEntry::~LauncherEntry() = default;

void LauncherEntry::setCount(int64_t count) {
  State& state = *state_;
  state.count = count;
  if (state.connection != nullptr && g_dbus_connection_is_closed(state.connection)) {
    g_clear_object(&state.connection);
  }
  if (state.connection != nullptr) return state.send();
  if (state.connecting != nullptr) return;
  std::optional<std::string> address = sessionBusAddress();
  if (!address) return;
  state.connecting = g_cancellable_new();
  g_dbus_connection_new_for_address(
      address->c_str(),
      GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                           G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, state.connecting, &State::onConnected, new std::weak_ptr<State>(state_));
}

}  // namespace vicinix
