#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <set>
#include <thread>

#include "platform/bluetooth_central_conformance.h"
#include "platform/fake/recording_log.h"
#include "platform/linux/bluetooth_address.h"
#include "platform/linux/bluez_central.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using conformance::CentralRecorder;
using conformance::kUIDFrame;
using State = BluetoothCentralState;

const std::string kFeaa = "0000feaa-0000-1000-8000-00805f9b34fb";

std::string bytesText(const std::vector<uint8_t>& bytes) {
  std::string text = "[byte ";
  for (uint8_t byte : bytes) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "0x%02x, ", byte);
    text += digits;
  }
  return text.substr(0, text.size() - 2) + "]";
}

// "" when what the mock needs (scripts/install-deps installs it) is there.
std::string missingTools() {
  gchar* daemon = g_find_program_in_path("dbus-daemon");
  g_free(daemon);
  if (daemon == nullptr) return "dbus-daemon is missing (scripts/install-deps installs it)";
  if (std::system("/usr/bin/python3 -c 'import dbusmock' 2>/dev/null") != 0)
    return "python3-dbusmock is missing (scripts/install-deps installs it)";
  return "";
}

const std::string kFieldMock = VICINIX_SOURCE_DIR "/tests/support/bluez_field_mock.py";

// dbusmock's BlueZ on a private bus, and what a test does with it.
struct BluezHarness {
  BluezHarness() : why(missingTools()) {
    if (!why.empty()) return;
    bus.emplace();
    startBluez();
  }
  // `parameters`: the mock's JSON ("window", "speed").
  void startBluez(const std::string& parameters = "") {
    bus->startMock(kFieldMock, "org.bluez", parameters);
    addAdapter("hci0");
  }
  bool ready() const { return bus.has_value(); }

  // `arguments` is a tuple in GVariant text, "" for none.
  test::VariantPtr call(const std::string& path, const std::string& interface,
                        const std::string& method, const std::string& arguments = "") {
    return bus->call("org.bluez", path, interface, method,
                     arguments.empty() ? nullptr : g_variant_new_parsed(arguments.c_str()));
  }
  std::unique_ptr<BluetoothCentral> makeCentral(BluetoothCentralDelegate& delegate,
                                                const std::string& adapter = "",
                                                double refreshSeconds = 0) {
    return makeBluezCentral(delegate, queue, {adapter, refreshSeconds}, log);
  }
  void addAdapter(const std::string& name) {
    call("/", "org.bluez.Mock", "AddAdapter", "('" + name + "', 'vicinix')");
  }
  void setPowered(bool on) {
    call("/", "org.bluez.Mock", "SetPowered",
         std::string("('hci0', ") + (on ? "true" : "false") + ")");
  }
  bool scanning(const std::string& adapter = "hci0") {
    auto reply = call("/org/bluez/" + adapter, "org.freedesktop.DBus.Properties", "Get",
                      "('org.bluez.Adapter1', 'Discovering')");
    test::VariantPtr value(g_variant_get_child_value(reply.get(), 0));
    return g_variant_get_boolean(test::VariantPtr(g_variant_get_variant(value.get())).get());
  }
  bool runUntil(const std::function<bool()>& done) { return conformance::pollUntil(done); }

  // The device object on hci0, made on first use as dbusmock makes it: with
  // a signal strength and ServiceData of the wrong type.
  std::string device(std::string address) {
    if (devices.insert(address).second)
      call("/", "org.bluez.Mock", "AddDevice", "('hci0', '" + address + "', 'b')");
    std::replace(address.begin(), address.end(), ':', '_');
    return "/org/bluez/hci0/dev_" + address;
  }
  // One PropertiesChanged of Device1 with `changed` (a{sv} text).
  void emitChanged(const std::string& path, const std::string& changed) {
    call(path, "org.freedesktop.DBus.Mock", "EmitSignal",
         "('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as', "
         "[<'org.bluez.Device1'>, <" +
             changed + ">, <@as []>])");
  }
  static std::string changes(const std::vector<uint8_t>& frame, int RSSI) {
    return "{'ServiceData': <{'" + kFeaa + "': <" + bytesText(frame) + ">}>, 'RSSI': <int16 " +
           std::to_string(RSSI) + ">}";
  }
  // Through the mock's duplicate filter; false when it held the report back.
  bool advertise(const std::string& address, const ServiceDataMap& serviceData, int RSSI) {
    auto reply = call("/", "org.bluez.Mock", "Advertise",
                      "('hci0', '" + address + "', " + bytesText(serviceData.at("FEAA")) +
                          ", int16 " + std::to_string(RSSI) + ")");
    gboolean passed = FALSE;
    g_variant_get(reply.get(), "(b)", &passed);
    return passed;
  }
  // The adapter's method calls in order, each with its arguments.
  std::vector<std::string> calls(const std::string& adapter = "hci0") {
    auto reply = call("/org/bluez/" + adapter, "org.freedesktop.DBus.Mock", "GetCalls", "");
    std::vector<std::string> result;
    GVariantIter* iter = nullptr;
    g_variant_get(reply.get(), "(a(tsav))", &iter);
    const char* method = nullptr;
    GVariant* arguments = nullptr;
    while (g_variant_iter_next(iter, "(t&s@av)", nullptr, &method, &arguments)) {
      gchar* text = g_variant_print(arguments, FALSE);
      result.push_back(std::string(method) + " " + text);
      g_free(text);
      g_variant_unref(arguments);
    }
    g_variant_iter_free(iter);
    return result;
  }

  std::string why;
  std::optional<test::PrivateBus> bus;
  std::shared_ptr<DispatchQueue> queue =
      makeGlibDispatchQueueFactory()->makeSerialQueue("delegate");
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  std::set<std::string> devices;
};

}  // namespace

namespace conformance {
INSTANTIATE_TYPED_TEST_SUITE_P(Bluez, BluetoothCentralConformance, BluezHarness);
}  // namespace conformance

namespace {

class BluezCentralTest : public ::testing::Test, public BluezHarness {
 protected:
  void SetUp() override {
    if (!ready()) GTEST_SKIP() << why;
  }
  // A central on the powered hci0, scanning for Eddystone.
  std::unique_ptr<BluetoothCentral> scanningCentral() {
    auto central = makeCentral(recorder);
    EXPECT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOn; }));
    central->scanForPeripherals({"FEAA"}, true);
    EXPECT_TRUE(runUntil([&] { return scanning(); }));
    return central;
  }
  bool runUntilDiscoveries(size_t count) {
    return runUntil([&] { return recorder.discoveries().size() >= count; });
  }

  CentralRecorder recorder;
};

TEST_F(BluezCentralTest, FiltersForEddystoneOverLEAndNewArgumentsChangeTheRunningFilter) {
  auto central = scanningCentral();
  central->scanForPeripherals({"FEAA"}, false);
  ASSERT_TRUE(runUntil([&] { return calls().size() == 3; }));
  std::string filter =
      "SetDiscoveryFilter [<{'UUIDs': <['" + kFeaa + "']>, 'Transport': <'le'>, 'DuplicateData': <";
  EXPECT_EQ(calls(), (std::vector<std::string>{filter + "true>}>]", "StartDiscovery []",
                                               filter + "false>}>]"}));
}

// The first report is the beacon BlueZ already had in range when the scan
// began; then each change of service data or signal strength is one report.
TEST_F(BluezCentralTest, ReportsTheBeaconsInRangeThenEachChangeAndNothingMalformed) {
  std::string path = device("C0:FF:EE:00:00:07");
  call(path, "org.freedesktop.DBus.Properties", "Set",
       "('org.bluez.Device1', 'ServiceData', <{'" + kFeaa + "': <" + bytesText(kUIDFrame) + ">}>)");
  auto central = scanningCentral();
  std::vector<uint8_t> second = kUIDFrame;
  second[19] = 0x01;
  ASSERT_TRUE(runUntilDiscoveries(1));
  emitChanged(path, "{'RSSI': <int16 -50>}");
  emitChanged(path, changes(second, -40));

  // Malformed: dbusmock's own ServiceData (aa{sv}), a key that is no UUID,
  // and signals of the wrong signature.
  std::string other = device("C0:FF:EE:00:00:01");
  emitChanged(other, "{'ServiceData': <{'not a uuid': <[byte 0x00]>}>, 'RSSI': <int16 -60>}");
  call(other, "org.freedesktop.DBus.Mock", "EmitSignal",
       "('org.freedesktop.DBus.Properties', 'PropertiesChanged', 's', [<'org.bluez.Device1'>])");
  call("/", "org.freedesktop.DBus.Mock", "EmitSignal",
       "('org.freedesktop.DBus.ObjectManager', 'InterfacesAdded', 'o', "
       "[<objectpath '/org/bluez/hci0/dev_00'>])");
  advertise("C0:FF:EE:00:00:02", {{"FEAA", kUIDFrame}}, -90);  // the barrier
  ASSERT_TRUE(runUntilDiscoveries(4));
  auto beacon = BluetoothAddress::parse("C0:FF:EE:00:00:07")->peripheralIdentifier();
  EXPECT_EQ(recorder.discoveries(),
            (std::vector<CentralRecorder::Discovery>{
                {beacon, ServiceDataMap{{"FEAA", kUIDFrame}}, -79},  // dbusmock's signal strength
                {beacon, ServiceDataMap{{"FEAA", kUIDFrame}}, -50},
                {beacon, ServiceDataMap{{"FEAA", second}}, -40},
                {BluetoothAddress::parse("C0:FF:EE:00:00:02")->peripheralIdentifier(),
                 ServiceDataMap{{"FEAA", kUIDFrame}}, -90}}));
}

TEST_F(BluezCentralTest, FollowsTheNamedAdapterComingAndGoing) {
  auto central = makeCentral(recorder, "hci1");
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  addAdapter("hci1");
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOn; }));
  central->scanForPeripherals({"FEAA"}, true);
  ASSERT_TRUE(runUntil([&] { return scanning("hci1"); }));
  EXPECT_EQ(calls("hci0"), std::vector<std::string>{});

  call("/", "org.bluez.Mock", "RemoveAdapter", "('hci1',)");
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  EXPECT_EQ(recorder.states(),
            (std::vector<State>{State::poweredOff, State::poweredOn, State::poweredOff}));
  EXPECT_EQ(
      log->systemLines(),
      std::vector<std::string>{"Bluetooth: no adapter /org/bluez/hci1 in BlueZ; waiting for it"});
}

// bluetoothd restarting (its name vanishing and coming back) and the adapter
// being unplugged and plugged in again leave the requested scan in place.
TEST_F(BluezCentralTest, ScansAgainAfterBluetoothdRestartsAndTheAdapterReturns) {
  auto central = scanningCentral();
  auto reportsOnceScanning = [&](int RSSI) {
    EXPECT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOn && scanning(); }));
    advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, RSSI);
    return runUntil([&] {
      auto all = recorder.discoveries();
      return !all.empty() && all.back().RSSI == RSSI;
    });
  };
  bus->stopMocks();
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  startBluez();
  EXPECT_TRUE(reportsOnceScanning(-51));

  call("/", "org.bluez.Mock", "RemoveAdapter", "('hci0',)");
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  addAdapter("hci0");
  EXPECT_TRUE(reportsOnceScanning(-52));
  EXPECT_EQ(log->systemLines(), std::vector<std::string>{});
}

// Each failure is one line, the retries come after 1 s, then 2 s; a
// discovery that ends on its own is started again.
TEST_F(BluezCentralTest, RetriesFailedDiscoveryAndRestartsDiscoveryThatEnds) {
  call("/", "org.bluez.Mock", "FailNext", "('hci0', 'SetDiscoveryFilter', uint32 1, 'Failed')");
  call("/", "org.bluez.Mock", "FailNext", "('hci0', 'StartDiscovery', uint32 1, 'NotReady')");
  auto central = scanningCentral();
  // The last line follows StartDiscovery's reply, which may come after Discovering.
  ASSERT_TRUE(runUntil([&] { return log->systemLines().size() == 3; }));
  EXPECT_EQ(log->systemLines(),
            (std::vector<std::string>{
                "Bluetooth: SetDiscoveryFilter failed: org.bluez.Error.Failed: Mock failure; "
                "trying again in 1 s",
                "Bluetooth: StartDiscovery failed: org.bluez.Error.NotReady: Mock failure; "
                "trying again in 2 s",
                "Bluetooth: discovery on /org/bluez/hci0 runs again after 2 failed attempts"}));

  call("/", "org.bluez.Mock", "EndDiscovery", "('hci0',)");
  ASSERT_TRUE(runUntil([&] { return log->systemLines().size() == 4; }));
  EXPECT_TRUE(runUntil([&] { return scanning(); }));
  EXPECT_EQ(log->systemLines().back(),
            "Bluetooth: discovery on /org/bluez/hci0 stopped without our asking (1 time); "
            "starting it again");
}

// With the controller's duplicate filter a beacon is heard once per window;
// restarting discovery opens a new window.
TEST_F(BluezCentralTest, RefreshingDiscoveryDefeatsTheDuplicateFilter) {
  bus->stopMocks();
  startBluez("{\"window\": 60}");
  auto heardIn2s = [&](double refreshSeconds) {
    CentralRecorder heard;
    auto central = makeCentral(heard, "", refreshSeconds);
    EXPECT_TRUE(runUntil([&] { return heard.lastState() == State::poweredOn; }));
    central->scanForPeripherals({"FEAA"}, true);
    EXPECT_TRUE(runUntil([&] { return scanning(); }));
    for (int i = 0; i < 20; ++i) {
      advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, -60);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    central.reset();
    return heard.discoveries().size();
  };
  EXPECT_EQ(heardIn2s(0), 1u);
  EXPECT_GE(heardIn2s(0.5), 3u);
}

// Where bluetoothd takes advertisement monitors, one for Eddystone service
// data replaces the refresh: the duplicate filter is off while it is registered.
TEST_F(BluezCentralTest, RegistersAnEddystoneMonitorInsteadOfRefreshing) {
  bus->stopMocks();
  startBluez("{\"monitor\": true}");
  auto central = makeCentral(recorder, "", 0.5);
  ASSERT_TRUE(runUntil([&] { return recorder.lastState() == State::poweredOn; }));
  central->scanForPeripherals({"FEAA"}, true);
  ASSERT_TRUE(runUntil([&] { return log->systemLines().size() == 1; }));
  EXPECT_EQ(log->systemLines()[0],
            "Bluetooth: advertisement monitor for Eddystone registered on /org/bluez/hci0; every "
            "advertisement is heard");
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  auto made = calls();
  EXPECT_EQ(std::count(made.begin(), made.end(), "StartDiscovery []"), 1) << made.size();
  EXPECT_EQ(
      std::count(made.begin(), made.end(), "RegisterMonitor [<objectpath '/org/vicinix/monitor'>]"),
      1);

  // What BlueZ reads back from us: the monitor's type and its one pattern.
  std::string exported;
  auto names = bus->call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "ListNames");
  GVariantIter* iter = nullptr;
  const char* name = nullptr;
  g_variant_get(names.get(), "(as)", &iter);
  while (g_variant_iter_next(iter, "&s", &name)) {
    if (name[0] != ':') continue;
    try {
      auto objects = bus->call(name, "/org/vicinix/monitor", "org.freedesktop.DBus.ObjectManager",
                               "GetManagedObjects");
      gchar* text = g_variant_print(objects.get(), FALSE);
      exported = text;
      g_free(text);
    } catch (const std::runtime_error&) {
    }
  }
  g_variant_iter_free(iter);
  EXPECT_EQ(exported,
            "({'/org/vicinix/monitor/eddystone': {'org.bluez.AdvertisementMonitor1': {'Type': "
            "<'or_patterns'>, 'Patterns': <[(byte 0x00, byte 0x16, [byte 0xaa, 0xfe])]>}}},)");
}

TEST_F(BluezCentralTest, NoCallbackAfterDestructionWhileSignalsFlow) {
  auto central = scanningCentral();
  std::string path = device("C0:FF:EE:00:00:01");
  std::atomic<bool> stop{false};
  std::atomic<int> emitted{0};
  std::thread emitter([&] {
    for (int rssi = -100; !stop; rssi = rssi == -30 ? -100 : rssi + 1, ++emitted)
      emitChanged(path, changes(kUIDFrame, rssi));
  });
  ASSERT_TRUE(runUntilDiscoveries(5));
  // Reports pile up behind a held delegate queue, then the central goes.
  std::promise<void> gate;
  queue->async([open = gate.get_future().share()] { open.wait(); });
  int before = emitted;
  ASSERT_TRUE(runUntil([&] { return emitted > before + 20; }));
  central.reset();
  size_t reported = recorder.discoveries().size();
  gate.set_value();
  stop = true;
  emitter.join();
  queue->sync([] {});
  EXPECT_EQ(recorder.discoveries().size(), reported);
}

TEST(BluezCentralWithoutBus, IsUnsupportedAndSaysWhy) {
  const char* saved = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  std::optional<std::string> restore = saved ? std::optional<std::string>(saved) : std::nullopt;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/vicinix-bus", 1);
  auto log = std::make_shared<RecordingLog>();
  CentralRecorder recorder;
  auto central =
      makeBluezCentral(recorder, makeGlibDispatchQueueFactory()->makeSerialQueue("d"), {}, log);
  conformance::pollUntil([&] { return recorder.lastState() == State::unsupported; });
  central.reset();
  restore ? setenv("DBUS_SYSTEM_BUS_ADDRESS", restore->c_str(), 1)
          : unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  EXPECT_EQ(recorder.states(), std::vector<State>{State::unsupported});
  ASSERT_EQ(log->systemLines().size(), 1u);
  EXPECT_NE(log->systemLines()[0].find("system bus"), std::string::npos) << log->systemLines()[0];
}

}  // namespace
}  // namespace vicinix
