#include "platform/linux/bluez_advertisement_monitor.h"

#include <string_view>
#include <utility>

#include "platform/linux/dbus_error_text.h"

namespace vicinix {
namespace {

constexpr const char* kManagerInterface = "org.bluez.AdvertisementMonitorManager1";
constexpr const char* kMonitorInterface = "org.bluez.AdvertisementMonitor1";
constexpr const char* kObjectManagerInterface = "org.freedesktop.DBus.ObjectManager";

constexpr const char* kIntrospection = R"xml(<node>
  <interface name="org.freedesktop.DBus.ObjectManager">
    <method name="GetManagedObjects"><arg type="a{oa{sa{sv}}}" direction="out"/></method>
  </interface>
  <interface name="org.bluez.AdvertisementMonitor1">
    <method name="Release"/>
    <method name="Activate"/>
    <method name="DeviceFound"><arg type="o" direction="in"/></method>
    <method name="DeviceLost"><arg type="o" direction="in"/></method>
    <property name="Type" type="s" access="read"/>
    <property name="Patterns" type="a(yyay)" access="read"/>
  </interface>
</node>)xml";

GDBusNodeInfo* nodeInfo() {
  static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
  return info;
}

// Service data of a 16-bit UUID (AD type 0x16) whose first bytes are 0xFEAA,
// little-endian as on the air.
GVariant* patterns() {
  static constexpr guint8 kEddystone[] = {0xaa, 0xfe};
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(yyay)"));
  g_variant_builder_add(
      &builder, "(yy@ay)", guint8{0}, guint8{0x16},
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, kEddystone, sizeof kEddystone, 1));
  return g_variant_builder_end(&builder);
}

GVariant* monitorProperty(std::string_view name) {
  if (name == "Type") return g_variant_new_string("or_patterns");
  if (name == "Patterns") return patterns();
  return nullptr;
}

}  // namespace

struct BluezAdvertisementMonitor::Shared {
  bool alive = true;
  std::string monitorPath;
  std::function<void(bool, const std::string&)> done;
};

namespace {

using SharedPtr = std::shared_ptr<BluezAdvertisementMonitor::Shared>;

void freeShared(gpointer data) {
  delete static_cast<SharedPtr*>(data);
}

void onMethodCall(GDBusConnection*, const gchar*, const gchar*, const gchar* interface,
                  const gchar* method, GVariant*, GDBusMethodInvocation* invocation,
                  gpointer data) {
  const auto& shared = *static_cast<SharedPtr*>(data);
  if (std::string_view(interface) == kObjectManagerInterface &&
      std::string_view(method) == "GetManagedObjects") {
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    for (const char* name : {"Type", "Patterns"})
      g_variant_builder_add(&properties, "{sv}", name, monitorProperty(name));
    GVariantBuilder objects;
    g_variant_builder_init(&objects, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
    g_variant_builder_open(&objects, G_VARIANT_TYPE("{oa{sa{sv}}}"));
    g_variant_builder_add(&objects, "o", shared->monitorPath.c_str());
    g_variant_builder_open(&objects, G_VARIANT_TYPE("a{sa{sv}}"));
    g_variant_builder_add(&objects, "{s@a{sv}}", kMonitorInterface,
                          g_variant_builder_end(&properties));
    g_variant_builder_close(&objects);
    g_variant_builder_close(&objects);
    g_dbus_method_invocation_return_value(
        invocation, g_variant_new("(@a{oa{sa{sv}}})", g_variant_builder_end(&objects)));
    return;
  }
  // Release, Activate, DeviceFound, DeviceLost: the devices' own properties
  // carry the advertisements, so there is nothing to do.
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* onGetProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                        const gchar* name, GError** error, gpointer) {
  GVariant* value = monitorProperty(name);
  if (value == nullptr)
    g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "no property %s", name);
  return value;
}

const GDBusInterfaceVTable kVTable = {onMethodCall, onGetProperty, nullptr, {}};

}  // namespace

BluezAdvertisementMonitor::BluezAdvertisementMonitor(
    GDBusConnection* connection, std::string adapterPath, std::string rootPath,
    std::function<void(bool registered, const std::string& error)> done)
    : shared_(std::make_shared<Shared>()),
      connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
      adapterPath_(std::move(adapterPath)),
      rootPath_(std::move(rootPath)) {
  shared_->monitorPath = rootPath_ + "/eddystone";
  shared_->done = std::move(done);
  GError* error = nullptr;
  rootRegistration_ =
      g_dbus_connection_register_object(connection_, rootPath_.c_str(), nodeInfo()->interfaces[0],
                                        &kVTable, new SharedPtr(shared_), freeShared, &error);
  if (rootRegistration_ != 0) {
    monitorRegistration_ = g_dbus_connection_register_object(
        connection_, shared_->monitorPath.c_str(), nodeInfo()->interfaces[1], &kVTable,
        new SharedPtr(shared_), freeShared, &error);
  }
  if (monitorRegistration_ == 0) {
    std::string text = error != nullptr ? error->message : "cannot export the monitor";
    g_clear_error(&error);
    shared_->done(false, text);
    return;
  }
  g_dbus_connection_call(
      connection_, "org.bluez", adapterPath_.c_str(), kManagerInterface, "RegisterMonitor",
      g_variant_new("(o)", rootPath_.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<SharedPtr> shared(static_cast<SharedPtr*>(data));
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
        if ((*shared)->alive) (*shared)->done(reply != nullptr, error ? dbusErrorText(error) : "");
        if (reply != nullptr) g_variant_unref(reply);
        g_clear_error(&error);
      },
      new SharedPtr(shared_));
}

BluezAdvertisementMonitor::~BluezAdvertisementMonitor() {
  shared_->alive = false;
  if (monitorRegistration_ != 0) {
    g_dbus_connection_call(connection_, "org.bluez", adapterPath_.c_str(), kManagerInterface,
                           "UnregisterMonitor", g_variant_new("(o)", rootPath_.c_str()), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    g_dbus_connection_unregister_object(connection_, monitorRegistration_);
  }
  if (rootRegistration_ != 0) g_dbus_connection_unregister_object(connection_, rootRegistration_);
  g_object_unref(connection_);
}

}  // namespace vicinix
