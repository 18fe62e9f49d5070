#include "platform/linux/bluez_central.h"

#include <gio/gio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/bluez_advertisement_monitor.h"
#include "platform/linux/bluez_device_tracker.h"
#include "platform/linux/central_delegate_link.h"
#include "platform/linux/dbus_error_text.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/service_uuid.h"

namespace vicinix {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
constexpr const char* kDeviceInterface = "org.bluez.Device1";
constexpr const char* kMonitorManagerInterface = "org.bluez.AdvertisementMonitorManager1";
// Each central has a connection of its own, so one path serves them all.
constexpr const char* kMonitorRoot = "/org/vicinix/monitor";
constexpr int kCallTimeoutMs = 10000;
// How long destruction waits for GDBus to hand back what it holds of ours.
constexpr gint64 kReleaseWaitMicros = 2 * G_USEC_PER_SEC;
// Failed discovery calls are tried again after 1, 2, 4 ... seconds, at most this.
constexpr int kRetryCapSeconds = 30;

bool isOfType(GVariant* value, const char* type) {
  return value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE(type));
}

bool isPowerOfTen(int n) {
  while (n >= 10 && n % 10 == 0) n /= 10;
  return n == 1;
}

class BluezCentral final : public BluetoothCentral {
 public:
  BluezCentral(BluetoothCentralDelegate& delegate, std::shared_ptr<DispatchQueue> queue,
               const BluezCentralOptions& options, std::shared_ptr<Log> log)
      : adapterPathWanted_(options.adapter.empty() || options.adapter[0] == '/'
                               ? options.adapter
                               : "/org/bluez/" + options.adapter),
        refresh_(std::chrono::duration_cast<Duration>(
            std::chrono::duration<double>(std::max(0.0, options.refreshSeconds)))),
        log_(std::move(log)),
        link_(CentralDelegateLink::make(delegate, *this, std::move(queue))),
        worker_(makeGlibDispatchQueueFactory()->makeSerialQueue("bluez")) {
    retryTimer_ = worker_->makeTimerSource([this] { startDiscovery(); });
    refreshTimer_ = worker_->makeTimerSource([this] { refreshDiscovery(); });
    worker_->async([this] { connect(); });
  }

  ~BluezCentral() override {
    link_->detach();
    worker_->sync([this] { shutDown(); });
    worker_.reset();
  }

  BluetoothCentralState state() const override { return state_.load(); }

  void scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                          bool allowDuplicates) override {
    worker_->async(
        [this, serviceUUIDs, allowDuplicates] { startScan(serviceUUIDs, allowDuplicates); });
  }

  void stopScan() override {
    worker_->async([this] { endScan(); });
  }

 private:
  using Reply = std::function<void(GVariant* reply, const GError* error)>;
  struct PendingCall {
    BluezCentral* central;
    Reply reply;
  };

  // Everything below runs on the worker thread.

  void warn(const std::string& line) {
    if (log_) log_->systemLine("Bluetooth: " + line);
  }

  void setState(BluetoothCentralState state) {
    if (state_.exchange(state) != state) link_->postStateUpdate();
  }

  void post(std::optional<BluezDeviceTracker::Discovery> discovery) {
    if (discovery) link_->postDiscovery(std::move(*discovery));
  }

  void connect() {
    GError* error = nullptr;
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (address != nullptr) {
      connection_ = g_dbus_connection_new_for_address_sync(
          address,
          GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                               G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, &error);
      g_free(address);
    }
    if (connection_ == nullptr) {
      warn("cannot reach the system bus (" + dbusErrorText(error) + "); BlueZ is out of reach");
      g_clear_error(&error);
      setState(BluetoothCentralState::unsupported);
      return;
    }
    cancellable_ = g_cancellable_new();
    subscribe("org.freedesktop.DBus.ObjectManager", "InterfacesAdded", nullptr);
    subscribe("org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", nullptr);
    subscribe("org.freedesktop.DBus.Properties", "PropertiesChanged", kBluez);
    // Also tells whether bluetoothd runs at all, and of its restarts.
    nameWatch_ = g_bus_watch_name_on_connection(connection_, kBluez, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                &BluezCentral::onAppeared,
                                                &BluezCentral::onVanished, hold(), &release);
  }

  void subscribe(const char* interface, const char* member, const char* arg0Namespace) {
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(
        connection_, kBluez, interface, member, nullptr, arg0Namespace,
        arg0Namespace != nullptr ? G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE
                                 : G_DBUS_SIGNAL_FLAGS_NONE,
        &BluezCentral::onSignal, hold(), &release));
  }

  // What a subscription or name watch holds of us. GDBus stops calling back
  // when it ends but may drop the hold later: the count outlives the central.
  struct Hold {
    BluezCentral* central;
    std::shared_ptr<std::atomic<int>> outstanding;
  };
  Hold* hold() {
    ++*outstanding_;
    return new Hold{this, outstanding_};
  }
  static void release(gpointer data) {
    std::unique_ptr<Hold> hold(static_cast<Hold*>(data));
    --*hold->outstanding;
  }
  static BluezCentral* held(gpointer data) { return static_cast<Hold*>(data)->central; }

  void call(const std::string& path, const char* interface, const char* method,
            GVariant* parameters, const char* replyType, Reply reply) {
    ++*outstanding_;
    g_dbus_connection_call(connection_, kBluez, path.c_str(), interface, method, parameters,
                           replyType != nullptr ? G_VARIANT_TYPE(replyType) : nullptr,
                           G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, cancellable_,
                           &BluezCentral::onReply, new PendingCall{this, std::move(reply)});
  }

  static void onReply(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<PendingCall> pending(static_cast<PendingCall*>(data));
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    --*pending->central->outstanding_;
    if (!g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) pending->reply(reply, error);
    if (reply != nullptr) g_variant_unref(reply);
    g_clear_error(&error);
  }

  void shutDown() {
    retryTimer_.reset();
    refreshTimer_.reset();
    monitor_.reset();
    if (connection_ == nullptr) return;
    // BlueZ would end the session when we disconnect anyway; saying so
    // spares it the wait.
    if (!startedOn_.empty() && adapters_.contains(startedOn_)) {
      g_dbus_connection_call(connection_, kBluez, startedOn_.c_str(), kAdapterInterface,
                             "StopDiscovery", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                             nullptr, nullptr);
    }
    g_cancellable_cancel(cancellable_);
    for (guint subscription : subscriptions_)
      g_dbus_connection_signal_unsubscribe(connection_, subscription);
    if (nameWatch_ != 0) g_bus_unwatch_name(nameWatch_);
    waitForReleases();
    g_dbus_connection_flush_sync(connection_, nullptr, nullptr);
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_clear_object(&connection_);
    g_clear_object(&cancellable_);
  }

  // Cancelled calls and ended subscriptions come back through this thread's
  // context; until they have, GDBus holds pointers to us.
  void waitForReleases() {
    GMainContext* context = g_main_context_get_thread_default();
    // Releases may also come from GDBus's own thread, which does not wake us.
    GSource* tick = g_timeout_source_new(5);
    g_source_set_callback(
        tick, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
    g_source_attach(tick, context);
    gint64 deadline = g_get_monotonic_time() + kReleaseWaitMicros;
    while (outstanding_->load() > 0 && g_get_monotonic_time() < deadline)
      g_main_context_iteration(context, TRUE);
    g_source_destroy(tick);
    g_source_unref(tick);
    if (outstanding_->load() > 0) warn("D-Bus did not release the central in time");
  }

  static void onAppeared(GDBusConnection*, const gchar*, const gchar*, gpointer data) {
    held(data)->loadObjects();
  }

  static void onVanished(GDBusConnection*, const gchar*, gpointer data) {
    BluezCentral* central = held(data);
    ++central->objectsGeneration_;
    central->adapters_.clear();
    central->filterUnsupported_.clear();
    central->monitorManagers_.clear();
    central->monitorRefused_.clear();
    central->devices_.forgetDevicesBelow("");
    central->reevaluate();
  }

  void loadObjects() {
    uint64_t generation = ++objectsGeneration_;
    call("/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", nullptr, "(a{oa{sa{sv}}})",
         [this, generation](GVariant* reply, const GError* error) {
           if (generation != objectsGeneration_) return;  // bluetoothd went away since
           if (error != nullptr) {
             warn("cannot list BlueZ's objects: " + dbusErrorText(error));
             reevaluate();
             return;
           }
           adopt(reply);
         });
  }

  // The whole object tree, adapters first so that devices meet their adapter.
  void adopt(GVariant* reply) {
    adapters_.clear();
    devices_.forgetDevicesBelow("");
    GVariant* objects = g_variant_get_child_value(reply, 0);
    for (bool adapters : {true, false}) {
      GVariantIter iter;
      const char* path = nullptr;
      GVariant* interfaces = nullptr;
      g_variant_iter_init(&iter, objects);
      while (g_variant_iter_next(&iter, "{&o@a{sa{sv}}}", &path, &interfaces)) {
        interfacesAdded(path, interfaces, adapters ? kAdapterInterface : kDeviceInterface);
        g_variant_unref(interfaces);
      }
      if (adapters) {
        if (!adapterPathWanted_.empty() && !adapters_.contains(adapterPathWanted_))
          warn("no adapter " + adapterPathWanted_ + " in BlueZ; waiting for it");
        reevaluate();
      }
    }
    g_variant_unref(objects);
  }

  // `interfaces` is a{sa{sv}}; with `only`, other interfaces are skipped.
  void interfacesAdded(const std::string& path, GVariant* interfaces, const char* only) {
    GVariantIter iter;
    const char* interface = nullptr;
    GVariant* properties = nullptr;
    g_variant_iter_init(&iter, interfaces);
    while (g_variant_iter_next(&iter, "{&s@a{sv}}", &interface, &properties)) {
      std::string_view name(interface);
      if (name == kMonitorManagerInterface && (only == nullptr || only == kAdapterInterface)) {
        monitorManagerAdded(path, properties);
      } else if (only == nullptr || name == only) {
        if (name == kAdapterInterface) {
          gboolean powered = FALSE;
          g_variant_lookup(properties, "Powered", "b", &powered);
          adapters_[path] = powered;
          if (only == nullptr) reevaluate();
        } else if (name == kDeviceInterface) {
          post(devices_.deviceAdded(path, properties));
        }
      }
      g_variant_unref(properties);
    }
  }

  static void onSignal(GDBusConnection*, const gchar*, const gchar* path, const gchar*,
                       const gchar* member, GVariant* parameters, gpointer data) {
    BluezCentral* central = held(data);
    std::string_view name(member);
    if (name == "InterfacesAdded" && isOfType(parameters, "(oa{sa{sv}})")) {
      const char* object = nullptr;
      GVariant* interfaces = nullptr;
      g_variant_get(parameters, "(&o@a{sa{sv}})", &object, &interfaces);
      central->interfacesAdded(object, interfaces, nullptr);
      g_variant_unref(interfaces);
    } else if (name == "InterfacesRemoved" && isOfType(parameters, "(oas)")) {
      const char* object = nullptr;
      GVariantIter* interfaces = nullptr;
      const char* interface = nullptr;
      g_variant_get(parameters, "(&oas)", &object, &interfaces);
      while (g_variant_iter_next(interfaces, "&s", &interface))
        central->interfaceRemoved(object, interface);
      g_variant_iter_free(interfaces);
    } else if (name == "PropertiesChanged" && isOfType(parameters, "(sa{sv}as)")) {
      const char* interface = nullptr;
      GVariant* changed = nullptr;
      GVariant* invalidated = nullptr;
      g_variant_get(parameters, "(&s@a{sv}@as)", &interface, &changed, &invalidated);
      central->propertiesChanged(path, interface, changed, invalidated);
      g_variant_unref(changed);
      g_variant_unref(invalidated);
    }
  }

  void interfaceRemoved(const std::string& path, std::string_view interface) {
    if (interface == kAdapterInterface) {
      adapters_.erase(path);
      // BlueZ removes the devices first, but not when it is going down hard.
      devices_.forgetDevicesBelow(path);
      reevaluate();
    } else if (interface == kDeviceInterface) {
      devices_.deviceRemoved(path);
    } else if (interface == kMonitorManagerInterface) {
      monitorManagers_.erase(path);
      if (monitor_ && monitor_->adapterPath() == path) dropMonitor();
    }
  }

  void propertiesChanged(const std::string& path, std::string_view interface, GVariant* changed,
                         GVariant* invalidated) {
    if (interface == kDeviceInterface) {
      post(devices_.propertiesChanged(path, changed, invalidated));
    } else if (interface == kAdapterInterface && adapters_.contains(path)) {
      gboolean powered = FALSE;
      if (g_variant_lookup(changed, "Powered", "b", &powered)) {
        adapters_[path] = powered;
        reevaluate();
      }
      gboolean discovering = TRUE;
      if (g_variant_lookup(changed, "Discovering", "b", &discovering) && !discovering)
        discoveryEnded(path);
    }
  }

  std::string chooseAdapter() const {
    if (!adapterPathWanted_.empty())
      return adapters_.contains(adapterPathWanted_) ? adapterPathWanted_ : "";
    auto current = adapters_.find(adapterPath_);
    if (current != adapters_.end() && current->second) return adapterPath_;
    for (const auto& [path, powered] : adapters_)
      if (powered) return path;
    if (current != adapters_.end()) return adapterPath_;
    return adapters_.empty() ? "" : adapters_.begin()->first;
  }

  // After any adapter change: picks the adapter, pauses a scan whose adapter
  // lost its power or went away, resumes it on a usable one, and tells the
  // state. A scan asked for lasts until endScan().
  void reevaluate() {
    std::string chosen = chooseAdapter();
    if (chosen != adapterPath_) {
      dropMonitor();
      stopDiscovery();
      adapterPath_ = chosen;
      devices_.setAdapter(chosen);
      paused_ = true;
    }
    auto adapter = adapters_.find(adapterPath_);
    bool powered = adapter != adapters_.end() && adapter->second;
    if (!powered) {
      if (phase_ != Phase::idle || !startedOn_.empty()) pauseDiscovery();
      paused_ = true;
    }
    // Told before reports resume, so the delegate hears poweredOn first.
    setState(powered ? BluetoothCentralState::poweredOn : BluetoothCentralState::poweredOff);
    if (powered && scan_ && paused_) {
      paused_ = false;
      for (auto& discovery : devices_.startScan(scan_->serviceUUIDs, scan_->allowDuplicates))
        post(std::move(discovery));
      failures_ = 0;
      startDiscovery();
    }
  }

  void startScan(const std::vector<std::string>& serviceUUIDs, bool allowDuplicates) {
    std::vector<std::string> full;
    for (const auto& text : serviceUUIDs) {
      if (auto uuid = ServiceUUID::parse(text)) {
        full.push_back(uuid->fullText());
      } else {
        warn("\"" + text + "\" is no service UUID; left out of the scan");
      }
    }
    // Scanning for everything instead would be the opposite of what was asked.
    if (!serviceUUIDs.empty() && full.empty()) return;
    scan_ = Scan{full, allowDuplicates};
    paused_ = true;  // the tracker starts over with the new filter
    reevaluate();
  }

  void endScan() {
    if (!scan_) return;
    dropMonitor();
    scan_.reset();
    devices_.stopScan();
    stopDiscovery();
  }

  // A BlueZ session ended under us: power loss or bluetoothd going ends it
  // on BlueZ's side too, so there is nothing to stop.
  void pauseDiscovery() {
    dropMonitor();
    ++discoveryGeneration_;
    phase_ = Phase::idle;
    startedOn_.clear();
    retryTimer_->disarm();
    refreshTimer_->disarm();
    devices_.stopScan();
  }

  // Sets the filter, then starts discovery unless ours already runs. BlueZ
  // merges the filters of all its clients, so devices it reports can still
  // be of no interest: the tracker filters again.
  void startDiscovery() {
    retryTimer_->disarm();
    refreshTimer_->disarm();
    auto adapter = adapters_.find(adapterPath_);
    if (!scan_ || adapter == adapters_.end() || !adapter->second) return;
    phase_ = Phase::starting;
    uint64_t generation = ++discoveryGeneration_;
    std::string path = adapterPath_;
    auto startIt = [this, generation, path] {
      if (generation != discoveryGeneration_) return;
      if (startedOn_ == path) return discoveryRunning(path);
      startedOn_ = path;
      call(path, kAdapterInterface, "StartDiscovery", nullptr, nullptr,
           [this, generation, path](GVariant*, const GError* error) {
             // InProgress: BlueZ still counts a session of ours.
             if (error != nullptr && !isBluezError(error, "InProgress")) {
               if (startedOn_ != path) return;  // stopped since
               startedOn_.clear();
               // A newer attempt whose filter is still on its way starts it itself.
               if (generation != discoveryGeneration_ && phase_ != Phase::running) return;
               ++discoveryGeneration_;
               return discoveryFailed("StartDiscovery", error);
             }
             if (generation == discoveryGeneration_) discoveryRunning(path);
           });
    };
    if (filterUnsupported_.contains(path)) return startIt();
    call(path, kAdapterInterface, "SetDiscoveryFilter", g_variant_new("(@a{sv})", filter()),
         nullptr, [this, generation, path, startIt](GVariant*, const GError* error) {
           if (generation != discoveryGeneration_) return;
           if (error != nullptr) {
             // A BlueZ without filters still scans, only less selectively.
             if (!isBluezError(error, "NotSupported") && !isBluezError(error, "InvalidArguments"))
               return discoveryFailed("SetDiscoveryFilter", error);
             warn("SetDiscoveryFilter failed: " + dbusErrorText(error) + "; scanning unfiltered");
             filterUnsupported_.insert(path);
           }
           startIt();
         });
  }

  GVariant* filter() const {
    GVariantBuilder filter;
    g_variant_builder_init(&filter, G_VARIANT_TYPE_VARDICT);
    if (!scan_->serviceUUIDs.empty()) {
      GVariantBuilder uuids;
      g_variant_builder_init(&uuids, G_VARIANT_TYPE_STRING_ARRAY);
      for (const auto& uuid : scan_->serviceUUIDs) g_variant_builder_add(&uuids, "s", uuid.c_str());
      g_variant_builder_add(&filter, "{sv}", "UUIDs", g_variant_builder_end(&uuids));
    }
    g_variant_builder_add(&filter, "{sv}", "Transport", g_variant_new_string("le"));
    g_variant_builder_add(&filter, "{sv}", "DuplicateData",
                          g_variant_new_boolean(scan_->allowDuplicates));
    return g_variant_builder_end(&filter);
  }

  static bool isBluezError(const GError* error, const char* name) {
    gchar* remote = g_dbus_error_get_remote_error(error);
    bool matches =
        remote != nullptr && std::string_view(remote) == std::string("org.bluez.Error.") + name;
    g_free(remote);
    return matches;
  }

  void discoveryRunning(const std::string& path) {
    phase_ = Phase::running;
    if (failures_ > 0)
      warn("discovery on " + path + " runs again after " + std::to_string(failures_) +
           (failures_ == 1 ? " failed attempt" : " failed attempts"));
    failures_ = 0;
    considerMonitor();
    if (refresh_ > Duration::zero() && !monitorActive_) refreshTimer_->arm(jittered(refresh_));
  }

  // Where bluetoothd offers advertisement monitors, one for Eddystone turns
  // the controller's duplicate filter off, which makes the refresh needless.
  void monitorManagerAdded(const std::string& path, GVariant* properties) {
    const gchar** types = nullptr;
    if (g_variant_lookup(properties, "SupportedMonitorTypes", "^a&s", &types)) {
      bool orPatterns = false;
      for (const gchar** type = types; *type != nullptr; ++type)
        orPatterns = orPatterns || std::string_view(*type) == "or_patterns";
      g_free(types);
      if (!orPatterns) return;
    }
    monitorManagers_.insert(path);
    if (phase_ == Phase::running) considerMonitor();
  }

  void considerMonitor() {
    if (!scan_ || monitor_ || !monitorManagers_.contains(adapterPath_) ||
        monitorRefused_.contains(adapterPath_))
      return;
    std::string path = adapterPath_;
    monitor_ = std::make_unique<BluezAdvertisementMonitor>(
        connection_, path, kMonitorRoot, [this, path](bool registered, const std::string& error) {
          if (registered) {
            monitorActive_ = true;
            refreshTimer_->disarm();
            warn("advertisement monitor for Eddystone registered on " + path +
                 "; every advertisement is heard");
            return;
          }
          warn("advertisement monitor refused on " + path + " (" + error +
               "); refreshing discovery instead");
          monitorRefused_.insert(path);
          dropMonitor();
          if (phase_ == Phase::running && refresh_ > Duration::zero())
            refreshTimer_->arm(jittered(refresh_));
        });
  }

  void dropMonitor() {
    monitor_.reset();
    monitorActive_ = false;
  }

  // One line per backoff level: a BlueZ that keeps refusing at the cap is
  // tried every 30 s without filling the log.
  void discoveryFailed(const char* what, const GError* error) {
    phase_ = Phase::idle;
    int level = std::min(failures_, 5);
    ++failures_;
    int seconds = std::min(1 << level, kRetryCapSeconds);
    if (failures_ <= 6)
      warn(std::string(what) + " failed: " + dbusErrorText(error) + "; trying again in " +
           std::to_string(seconds) + " s");
    retryTimer_->arm(std::chrono::seconds(seconds));
  }

  // Discovering went false on an adapter: ours ended unless we stopped it.
  void discoveryEnded(const std::string& path) {
    if (path != adapterPath_ || phase_ != Phase::running || startedOn_ != path) return;
    ++restartsUnasked_;
    // 1st, 10th, 100th ...: a stack that ends discovery often must not flood the log.
    if (isPowerOfTen(restartsUnasked_))
      warn("discovery on " + path + " stopped without our asking (" +
           std::to_string(restartsUnasked_) + (restartsUnasked_ == 1 ? " time" : " times") +
           "); starting it again");
    restartDiscovery();
  }

  void refreshDiscovery() {
    if (phase_ == Phase::running && !monitorActive_) restartDiscovery();
  }

  // Stop and start in one go: D-Bus keeps the order of our calls, so BlueZ
  // sees them in this order too.
  void restartDiscovery() {
    stopDiscovery();
    startDiscovery();
  }

  void stopDiscovery() {
    ++discoveryGeneration_;
    phase_ = Phase::idle;
    retryTimer_->disarm();
    refreshTimer_->disarm();
    if (startedOn_.empty()) return;
    std::string path = std::exchange(startedOn_, "");
    if (!adapters_.contains(path)) return;
    call(path, kAdapterInterface, "StopDiscovery", nullptr, nullptr,
         [this](GVariant*, const GError* error) {
           if (error != nullptr) warn("StopDiscovery failed: " + dbusErrorText(error));
         });
  }

  // Restarts at a fixed period could stay in step with a beacon that rotates
  // its frames and always meet the same frame first; a little jitter breaks that.
  Duration jittered(Duration period) {
    std::uniform_real_distribution<double> factor(0.85, 1.15);
    return std::chrono::duration_cast<Duration>(period * factor(random_));
  }

  struct Scan {
    std::vector<std::string> serviceUUIDs;  // full form
    bool allowDuplicates = false;
  };

  const std::string adapterPathWanted_;
  const Duration refresh_;
  const std::shared_ptr<Log> log_;
  const std::shared_ptr<CentralDelegateLink> link_;
  std::atomic<BluetoothCentralState> state_{BluetoothCentralState::unknown};
  std::shared_ptr<DispatchQueue> worker_;

  // Worker thread only.
  GDBusConnection* connection_ = nullptr;
  GCancellable* cancellable_ = nullptr;
  std::vector<guint> subscriptions_;
  guint nameWatch_ = 0;
  // Calls in flight and holds not yet dropped; GDBus may drop holds from its own thread.
  std::shared_ptr<std::atomic<int>> outstanding_ = std::make_shared<std::atomic<int>>(0);
  uint64_t objectsGeneration_ = 0;
  std::map<std::string, bool> adapters_;  // object path: powered
  std::string adapterPath_;               // the one in use; "" for none
  BluezDeviceTracker devices_;
  std::optional<Scan> scan_;
  bool paused_ = true;  // the scan waits for a usable adapter
  enum class Phase { idle, starting, running };
  Phase phase_ = Phase::idle;
  uint64_t discoveryGeneration_ = 0;  // replies to older calls are stale
  std::string startedOn_;             // the adapter our StartDiscovery went to
  std::set<std::string> filterUnsupported_;
  int failures_ = 0;
  std::set<std::string> monitorManagers_;  // adapters that offer or-pattern monitors
  std::set<std::string> monitorRefused_;
  std::unique_ptr<BluezAdvertisementMonitor> monitor_;
  bool monitorActive_ = false;
  int restartsUnasked_ = 0;
  std::unique_ptr<TimerSource> retryTimer_;
  std::unique_ptr<TimerSource> refreshTimer_;
  std::minstd_rand random_{std::random_device{}()};
};

}  // namespace

std::unique_ptr<BluetoothCentral> makeBluezCentral(BluetoothCentralDelegate& delegate,
                                                   std::shared_ptr<DispatchQueue> queue,
                                                   BluezCentralOptions options,
                                                   std::shared_ptr<Log> log) {
  return std::make_unique<BluezCentral>(delegate, std::move(queue), options, std::move(log));
}

}  // namespace vicinix
