#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
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
#include "platform/linux/service_uuid.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using conformance::CentralRecorder;
using conformance::kUIDFrame;
using State = BluetoothCentralState;

constexpr const char* kFeaa = "0000feaa-0000-1000-8000-00805f9b34fb";

std::string bytesText(const std::vector<uint8_t>& bytes) {
  if (bytes.empty()) return "@ay []";
  std::string text = "[byte ";
  for (size_t i = 0; i < bytes.size(); ++i) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%s0x%02x", i == 0 ? "" : ", ", bytes[i]);
    text += digits;
  }
  return text + "]";
}

std::string devicePath(const std::string& adapter, std::string address) {
  std::replace(address.begin(), address.end(), ':', '_');
  return "/org/bluez/" + adapter + "/dev_" + address;
}

// What the mock needs; scripts/install-deps installs both. "" when all is there.
std::string missingTools() {
  gchar* daemon = g_find_program_in_path("dbus-daemon");
  g_free(daemon);
  if (daemon == nullptr) return "dbus-daemon is missing (scripts/install-deps installs it)";
  if (std::system("/usr/bin/python3 -c 'import dbusmock' 2>/dev/null") != 0)
    return "python3-dbusmock is missing (scripts/install-deps installs it)";
  return "";
}

// dbusmock's BlueZ on a private bus, and what a test does with it.
struct BluezHarness {
  BluezHarness() : why(missingTools()) {
    if (!why.empty()) return;
    bus.emplace();
    bus->startMock("bluez5", "org.bluez");
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
                                                const std::string& adapter = "") {
    return makeBluezCentral(delegate, queue, adapter, log);
  }

  void addAdapter(const std::string& name) {
    call("/", "org.bluez.Mock", "AddAdapter", "('" + name + "', 'vicinix')");
  }
  void setPowered(bool on, const std::string& adapter = "hci0") {
    call("/org/bluez/" + adapter, "org.freedesktop.DBus.Properties", "Set",
         std::string("('org.bluez.Adapter1', 'Powered', <") + (on ? "true" : "false") + ">)");
  }
  bool scanning(const std::string& adapter = "hci0") {
    auto reply = call("/org/bluez/" + adapter, "org.freedesktop.DBus.Properties", "Get",
                      "('org.bluez.Adapter1', 'Discovering')");
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    bool discovering = g_variant_get_boolean(value);
    g_variant_unref(value);
    return discovering;
  }

  // The device object, made on first use as dbusmock makes it: with a
  // signal strength and ServiceData of the wrong type.
  std::string device(const std::string& address, const std::string& adapter = "hci0") {
    std::string path = devicePath(adapter, address);
    if (devices.insert(path).second)
      call("/", "org.bluez.Mock", "AddDevice", "('" + adapter + "', '" + address + "', 'b')");
    return path;
  }
  // One PropertiesChanged of Device1 with `changed` (a{sv} text).
  void emitChanged(const std::string& path, const std::string& changed,
                   const std::string& invalidated = "@as []") {
    call(path, "org.freedesktop.DBus.Mock", "EmitSignal",
         "('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as', "
         "[<'org.bluez.Device1'>, <" +
             changed + ">, <" + invalidated + ">])");
  }
  void advertise(const std::string& address, const ServiceDataMap& serviceData, int RSSI) {
    std::string entries;
    for (const auto& [uuid, bytes] : serviceData) {
      entries += (entries.empty() ? "'" : ", '") + ServiceUUID::parse(uuid)->fullText() + "': <" +
                 bytesText(bytes) + ">";
    }
    emitChanged(device(address), "{'ServiceData': <{" + entries + "}>, 'RSSI': <int16 " +
                                     std::to_string(RSSI) + ">}");
  }

  // The adapter's method calls in order, each with its arguments.
  std::vector<std::pair<std::string, test::VariantPtr>> calls(const std::string& adapter = "hci0") {
    auto reply = call("/org/bluez/" + adapter, "org.freedesktop.DBus.Mock", "GetCalls", "");
    std::vector<std::pair<std::string, test::VariantPtr>> result;
    GVariantIter* iter = nullptr;
    g_variant_get(reply.get(), "(a(tsav))", &iter);
    guint64 time = 0;
    const char* method = nullptr;
    GVariant* arguments = nullptr;
    while (g_variant_iter_next(iter, "(t&s@av)", &time, &method, &arguments))
      result.emplace_back(method, test::VariantPtr(arguments));
    g_variant_iter_free(iter);
    return result;
  }
  std::vector<std::string> methodsCalled(const std::string& adapter = "hci0") {
    std::vector<std::string> methods;
    for (const auto& [method, arguments] : calls(adapter)) methods.push_back(method);
    return methods;
  }

  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 10s) {
    auto end = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(2ms);
    }
    return true;
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

class BluezCentralTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!harness.ready()) GTEST_SKIP() << harness.why;
  }

  // A central on the powered hci0, scanning for Eddystone.
  std::unique_ptr<BluetoothCentral> scanningCentral(CentralRecorder& recorder) {
    auto central = harness.makeCentral(recorder);
    EXPECT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOn; }));
    central->scanForPeripherals({"FEAA"}, true);
    EXPECT_TRUE(harness.runUntil([&] { return harness.scanning(); }));
    return central;
  }
  bool runUntilDiscoveries(const CentralRecorder& recorder, size_t count) {
    return harness.runUntil([&] { return recorder.discoveries().size() >= count; });
  }

  BluezHarness harness;
};

TEST_F(BluezCentralTest, ScansOnlyOncePoweredWithTheEddystoneFilter) {
  harness.setPowered(false);
  CentralRecorder recorder;
  auto central = harness.makeCentral(recorder);
  ASSERT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  central->scanForPeripherals({"FEAA"}, false);
  harness.setPowered(true);
  ASSERT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOn; }));
  EXPECT_EQ(harness.methodsCalled(), std::vector<std::string>{});

  central->scanForPeripherals({"FEAA"}, true);
  ASSERT_TRUE(harness.runUntil([&] { return harness.scanning(); }));
  // New arguments change the filter of the running discovery.
  central->scanForPeripherals({"FEAA"}, false);
  ASSERT_TRUE(harness.runUntil([&] { return harness.calls().size() == 3; }));
  auto calls = harness.calls();
  std::vector<std::string> seen;
  for (const auto& [method, arguments] : calls) {
    seen.push_back(method);
    if (method != "SetDiscoveryFilter") continue;
    GVariant* filter = g_variant_get_child_value(arguments.get(), 0);
    GVariant* dictionary = g_variant_get_variant(filter);
    gchar* text = g_variant_print(dictionary, FALSE);
    seen.back() += std::string(" ") + text;
    g_free(text);
    g_variant_unref(dictionary);
    g_variant_unref(filter);
  }
  std::string uuids = "{'UUIDs': <['" + std::string(kFeaa) + "']>, 'Transport': <'le'>, ";
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "SetDiscoveryFilter " + uuids + "'DuplicateData': <true>}",
                      "StartDiscovery",
                      "SetDiscoveryFilter " + uuids + "'DuplicateData': <false>}",
                  }));

  central->stopScan();
  ASSERT_TRUE(harness.runUntil([&] { return !harness.scanning(); }));
  EXPECT_EQ(harness.methodsCalled().back(), "StopDiscovery");
}

TEST_F(BluezCentralTest, ReportsEachServiceDataAndSignalStrengthChange) {
  CentralRecorder recorder;
  auto central = scanningCentral(recorder);
  // dbusmock's device carries no Eddystone data yet: nothing to report.
  std::string path = harness.device("C0:FF:EE:00:00:01");
  std::vector<uint8_t> second = kUIDFrame;
  second[19] = 0x01;
  harness.call(path, "org.freedesktop.DBus.Properties", "Set",
               "('org.bluez.Device1', 'ServiceData', <{'" + std::string(kFeaa) + "': <" +
                   bytesText(kUIDFrame) + ">}>)");
  harness.emitChanged(path, "{'RSSI': <int16 -50>}");
  harness.emitChanged(path, "{'ServiceData': <{'" + std::string(kFeaa) + "': <" +
                                bytesText(second) + ">}>, 'RSSI': <int16 -40>}");
  // Not an advertisement.
  harness.emitChanged(path, "{'Connected': <false>}");
  harness.advertise("C0:FF:EE:00:00:02", {{"FEAA", kUIDFrame}}, -90);  // the barrier
  ASSERT_TRUE(runUntilDiscoveries(recorder, 4));

  auto discoveries = recorder.discoveries();
  ASSERT_EQ(discoveries.size(), 4u);
  std::vector<std::pair<ServiceDataMap, int>> seen;
  for (size_t i = 0; i < 3; ++i)
    seen.emplace_back(*discoveries[i].serviceData, discoveries[i].RSSI);
  EXPECT_EQ(seen, (std::vector<std::pair<ServiceDataMap, int>>{
                      {{{"FEAA", kUIDFrame}}, -79},  // dbusmock's own signal strength
                      {{{"FEAA", kUIDFrame}}, -50},
                      {{{"FEAA", second}}, -40}}));
}

TEST_F(BluezCentralTest, AScanStartsWithTheBeaconsBlueZHasInRange) {
  std::string path = harness.device("C0:FF:EE:00:00:07");
  harness.call(path, "org.freedesktop.DBus.Properties", "Set",
               "('org.bluez.Device1', 'ServiceData', <{'" + std::string(kFeaa) + "': <" +
                   bytesText(kUIDFrame) + ">}>)");
  CentralRecorder recorder;
  auto central = scanningCentral(recorder);
  ASSERT_TRUE(runUntilDiscoveries(recorder, 1));
  auto discovery = recorder.discoveries()[0];
  EXPECT_EQ(discovery.peripheral,
            BluetoothAddress::parse("C0:FF:EE:00:00:07")->peripheralIdentifier());
  EXPECT_EQ(discovery.serviceData, (ServiceDataMap{{"FEAA", kUIDFrame}}));
}

TEST_F(BluezCentralTest, AnAddressGivesTheSameIdentifierInEveryCentral) {
  CentralRecorder first, second;
  auto one = scanningCentral(first);
  auto other = scanningCentral(second);
  harness.advertise("C0:FF:EE:00:00:01", {{"FEAA", kUIDFrame}}, -60);
  harness.advertise("C0:FF:EE:00:00:02", {{"FEAA", kUIDFrame}}, -60);
  ASSERT_TRUE(runUntilDiscoveries(first, 2));
  ASSERT_TRUE(runUntilDiscoveries(second, 2));

  auto expected = BluetoothAddress::parse("C0:FF:EE:00:00:01")->peripheralIdentifier();
  EXPECT_EQ(first.discoveries()[0].peripheral, expected);
  EXPECT_EQ(second.discoveries()[0].peripheral, expected);
  EXPECT_NE(first.discoveries()[1].peripheral, expected);
}

TEST_F(BluezCentralTest, PropertiesOfTheWrongTypeAreIgnored) {
  CentralRecorder recorder;
  auto central = scanningCentral(recorder);
  std::string path = harness.device("C0:FF:EE:00:00:01");
  std::string feaa = "'" + std::string(kFeaa) + "'";
  for (const std::string& changed : std::vector<std::string>{
           "{'ServiceData': <[{" + feaa + ": <[byte 0x00]>}]>}",  // aa{sv}, as AddDevice has it
           "{'ServiceData': <{" + feaa + ": <'text'>}>, 'RSSI': <int32 -60>}",
           "{'ServiceData': <{'not a uuid': <[byte 0x00]>}>}",
           "{'RSSI': <'loud'>, 'Address': <int16 1>}",
       }) {
    harness.emitChanged(path, changed);
  }
  // Not even PropertiesChanged's signature.
  harness.call(path, "org.freedesktop.DBus.Mock", "EmitSignal",
               "('org.freedesktop.DBus.Properties', 'PropertiesChanged', 's', "
               "[<'org.bluez.Device1'>])");
  harness.call("/", "org.freedesktop.DBus.Mock", "EmitSignal",
               "('org.freedesktop.DBus.ObjectManager', 'InterfacesAdded', 'o', "
               "[<objectpath '/org/bluez/hci0/dev_00'>])");
  harness.advertise("C0:FF:EE:00:00:02", {{"FEAA", kUIDFrame}}, -90);  // the barrier
  ASSERT_TRUE(runUntilDiscoveries(recorder, 1));
  auto discoveries = recorder.discoveries();
  EXPECT_EQ(discoveries.size(), 1u);
  EXPECT_EQ(discoveries.back().RSSI, -90);
}

TEST_F(BluezCentralTest, FollowsTheNamedAdapterComingAndGoing) {
  CentralRecorder recorder;
  auto central = harness.makeCentral(recorder, "hci1");
  ASSERT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  harness.addAdapter("hci1");
  ASSERT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOn; }));
  central->scanForPeripherals({"FEAA"}, true);
  ASSERT_TRUE(harness.runUntil([&] { return harness.scanning("hci1"); }));
  EXPECT_EQ(harness.methodsCalled("hci0"), std::vector<std::string>{});

  harness.call("/", "org.bluez.Mock", "RemoveAdapter", "('hci1',)");
  ASSERT_TRUE(harness.runUntil([&] { return recorder.lastState() == State::poweredOff; }));
  EXPECT_EQ(recorder.states(),
            (std::vector<State>{State::poweredOff, State::poweredOn, State::poweredOff}));
  EXPECT_EQ(
      harness.log->systemLines(),
      std::vector<std::string>{"Bluetooth: no adapter /org/bluez/hci1 in BlueZ; waiting for it"});
}

TEST_F(BluezCentralTest, NoCallbackAfterDestructionWhileSignalsFlow) {
  struct Guarded : CentralRecorder {
    std::atomic<bool> gone{false};
    std::atomic<int> late{0};
    void centralManagerDidDiscover(BluetoothCentral& central,
                                   const PeripheralIdentifier& peripheral,
                                   const std::optional<ServiceDataMap>& serviceData,
                                   int RSSI) override {
      if (gone) ++late;
      CentralRecorder::centralManagerDidDiscover(central, peripheral, serviceData, RSSI);
    }
  } recorder;
  auto central = scanningCentral(recorder);
  std::string path = harness.device("C0:FF:EE:00:00:01");
  std::atomic<bool> stop{false};
  std::atomic<int> emitted{0};
  std::thread emitter([&] {
    for (int rssi = -100; !stop; rssi = rssi == -30 ? -100 : rssi + 1, ++emitted) {
      harness.emitChanged(path, "{'ServiceData': <{'" + std::string(kFeaa) + "': <" +
                                    bytesText(kUIDFrame) + ">}>, 'RSSI': <int16 " +
                                    std::to_string(rssi) + ">}");
    }
  });
  ASSERT_TRUE(runUntilDiscoveries(recorder, 5));
  // Reports pile up behind a held delegate queue, then the central goes.
  std::promise<void> gate;
  harness.queue->async([open = gate.get_future().share()] { open.wait(); });
  int before = emitted;
  ASSERT_TRUE(harness.runUntil([&] { return emitted > before + 20; }));
  central.reset();
  recorder.gone = true;
  gate.set_value();
  stop = true;
  emitter.join();
  harness.queue->sync([] {});
  EXPECT_EQ(recorder.late, 0);
}

TEST(BluezCentralWithoutBus, IsUnsupportedAndSaysWhy) {
  const char* saved = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  std::string restore = saved != nullptr ? saved : "";
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/vicinix-bus", 1);
  auto log = std::make_shared<RecordingLog>();
  CentralRecorder recorder;
  auto central =
      makeBluezCentral(recorder, makeGlibDispatchQueueFactory()->makeSerialQueue("d"), "", log);
  auto end = std::chrono::steady_clock::now() + 10s;
  while (recorder.lastState() != State::unsupported && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(2ms);
  central.reset();
  if (saved != nullptr) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", restore.c_str(), 1);
  } else {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }
  EXPECT_EQ(recorder.states(), std::vector<State>{State::unsupported});
  ASSERT_EQ(log->systemLines().size(), 1u);
  EXPECT_NE(log->systemLines()[0].find("system bus"), std::string::npos) << log->systemLines()[0];
}

}  // namespace
}  // namespace vicinix
