#include "platform/linux/bluez_device_tracker.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/bluetooth_address.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using Discovery = BluezDeviceTracker::Discovery;

const std::string kFeaa = "0000feaa-0000-1000-8000-00805f9b34fb";
const std::vector<uint8_t> kFrame = {0x00, 0xe7, 0x01, 0x02};

// A GVariant from its text, released at the end of the full expression.
test::VariantPtr parsed(const std::string& text) {
  GVariant* value = g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr);
  EXPECT_NE(value, nullptr) << text;
  return test::VariantPtr(value);
}

std::string device(std::string address) {
  std::replace(address.begin(), address.end(), ':', '_');
  return "/org/bluez/hci0/dev_" + address;
}

PeripheralIdentifier id(const std::string& address) {
  return BluetoothAddress::parse(address)->peripheralIdentifier();
}

// A change carrying Eddystone service data `bytes` (GVariant text), and RSSI unless "".
std::string eddystone(const std::string& bytes = "[byte 0x00, 0xe7, 0x01, 0x02]",
                      const std::string& rssi = "-60") {
  return "{'ServiceData': <{'" + kFeaa + "': <" + bytes + ">}>" +
         (rssi.empty() ? "" : ", 'RSSI': <int16 " + rssi + ">") + "}";
}

class BluezDeviceTrackerTest : public ::testing::Test {
 protected:
  void SetUp() override { tracker.setAdapter("/org/bluez/hci0"); }

  std::optional<Discovery> added(const std::string& path, const std::string& properties) {
    return tracker.deviceAdded(path, parsed(properties).get());
  }
  std::optional<Discovery> changed(const std::string& path, const std::string& properties,
                                   const std::string& invalidated = "@as []") {
    return tracker.propertiesChanged(path, parsed(properties).get(), parsed(invalidated).get());
  }

  BluezDeviceTracker tracker;
};

TEST_F(BluezDeviceTrackerTest, ReportsDevicesOfItsAdapterThatCarryTheWantedService) {
  tracker.startScan({kFeaa}, true);
  EXPECT_EQ(added(device("C0:FF:EE:00:00:01"), eddystone()),
            (Discovery{id("C0:FF:EE:00:00:01"), ServiceDataMap{{"FEAA", kFrame}}, -60}));
  EXPECT_EQ(added("/org/bluez/hci1/dev_C0_FF_EE_00_00_02", eddystone()), std::nullopt);
  EXPECT_EQ(added(device("C0:FF:EE:00:00:03"),
                  "{'UUIDs': <['0000180f-0000-1000-8000-00805f9b34fb']>, "
                  "'ServiceData': <{'0000180f-0000-1000-8000-00805f9b34fb': <[byte 0x64]>}>, "
                  "'RSSI': <int16 -50>}"),
            std::nullopt);

  // Listing the service without its data: told once, not on every RSSI.
  std::string listing = device("C0:FF:EE:00:00:04");
  EXPECT_EQ(added(listing, "{'UUIDs': <['" + kFeaa + "']>, 'RSSI': <int16 -70>}"),
            (Discovery{id("C0:FF:EE:00:00:04"), std::nullopt, -70}));
  EXPECT_EQ(changed(listing, "{'RSSI': <int16 -71>}"), std::nullopt);
}

// Properties of the wrong type are no signal and leave what was known.
TEST_F(BluezDeviceTrackerTest, EveryWellTypedSignalOfADeviceWithServiceDataIsAnAdvertisement) {
  tracker.startScan({kFeaa}, true);
  std::string path = device("C0:FF:EE:00:00:01");
  ASSERT_TRUE(added(path, eddystone()));
  for (const std::string& wrong : std::vector<std::string>{
           "{'ServiceData': <[{'" + kFeaa + "': <[byte 0x01]>}]>}",  // aa{sv}
           "{'RSSI': <int32 -10>}", "{'RSSI': <'loud'>}", "{'Address': <int16 5>}",
           "('not', 'a dictionary')", "{'Connected': <true>}"}) {
    EXPECT_EQ(changed(path, wrong), std::nullopt) << wrong;
  }
  EXPECT_EQ(changed(path, "{'RSSI': <int16 -61>}"),
            (Discovery{id("C0:FF:EE:00:00:01"), ServiceDataMap{{"FEAA", kFrame}}, -61}));
  // Entries of the wrong type are left out of the map, the rest kept.
  EXPECT_EQ(changed(path, "{'ServiceData': <{'FEAB': <'text'>, '" + kFeaa + "': <[byte 0x02]>}>}"),
            (Discovery{id("C0:FF:EE:00:00:01"), ServiceDataMap{{"FEAA", {0x02}}}, -61}));

  // Without duplicates, a device is told once per scan: here as in range at its start.
  EXPECT_EQ(tracker.startScan({kFeaa}, false).size(), 1u);
  EXPECT_EQ(changed(path, "{'RSSI': <int16 -62>}"), std::nullopt);
}

TEST_F(BluezDeviceTrackerTest, AScanStartsWithTheDevicesHeardLatelyOnly) {
  std::string heard = device("C0:FF:EE:00:00:01"), stale = device("C0:FF:EE:00:00:02");
  EXPECT_EQ(added(heard, eddystone()), std::nullopt);  // not scanning yet
  added(stale, eddystone("[byte 0x00]", ""));
  auto inRange = tracker.startScan({kFeaa}, true);
  ASSERT_EQ(inRange.size(), 1u);
  EXPECT_EQ(inRange[0].peripheral, id("C0:FF:EE:00:00:01"));

  // BlueZ drops the signal strength when discovery ends; another client's
  // discovery may bring it back for some device meanwhile.
  changed(heard, "@a{sv} {}", "['RSSI']");
  tracker.stopScan();
  EXPECT_EQ(changed(stale, "{'RSSI': <int16 -40>}"), std::nullopt);
  inRange = tracker.startScan({kFeaa}, true);
  ASSERT_EQ(inRange.size(), 1u);
  EXPECT_EQ(inRange[0].peripheral, id("C0:FF:EE:00:00:02"));
}

TEST_F(BluezDeviceTrackerTest, TheAddressPropertyWinsOverTheObjectPath) {
  tracker.startScan({}, true);
  EXPECT_EQ(
      added(device("C0:FF:EE:00:00:01"), "{'Address': <'C0:FF:EE:00:00:09'>, 'RSSI': <int16 -60>}"),
      (Discovery{id("C0:FF:EE:00:00:09"), std::nullopt, -60}));
  // A signal for a device not listed yet still has its address in the path.
  EXPECT_EQ(changed(device("C0:FF:EE:00:00:02"), "{'RSSI': <int16 -60>}"),
            (Discovery{id("C0:FF:EE:00:00:02"), std::nullopt, -60}));
}

}  // namespace
}  // namespace vicinix
