#include "platform/linux/bluez_device_tracker.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/bluetooth_address.h"

namespace vicinix {
namespace {

using Discovery = BluezDeviceTracker::Discovery;

constexpr const char* kFeaa = "0000feaa-0000-1000-8000-00805f9b34fb";
const std::vector<uint8_t> kFrame = {0x00, 0xe7, 0x01, 0x02};

// A GVariant from its text, released at the end of the statement's scope.
class Variant {
 public:
  explicit Variant(const std::string& text)
      : value_(
            g_variant_ref_sink(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr))) {
    EXPECT_NE(value_, nullptr) << text;
  }
  ~Variant() {
    if (value_ != nullptr) g_variant_unref(value_);
  }
  operator GVariant*() const { return value_; }

 private:
  GVariant* value_;
};

std::string device(const std::string& address) {
  std::string name = address;
  std::replace(name.begin(), name.end(), ':', '_');
  return "/org/bluez/hci0/dev_" + name;
}

PeripheralIdentifier id(const std::string& address) {
  return BluetoothAddress::parse(address)->peripheralIdentifier();
}

std::string eddystone(const std::string& rssi = "-60") {
  return "{'ServiceData': <{'" + std::string(kFeaa) + "': <[byte 0x00, 0xe7, 0x01, 0x02]>}>, " +
         "'RSSI': <int16 " + rssi + ">}";
}

class BluezDeviceTrackerTest : public ::testing::Test {
 protected:
  void SetUp() override { tracker.setAdapter("/org/bluez/hci0"); }

  std::optional<Discovery> added(const std::string& path, const std::string& properties) {
    return tracker.deviceAdded(path, Variant(properties));
  }
  std::optional<Discovery> changed(const std::string& path, const std::string& properties,
                                   const std::string& invalidated = "@as []") {
    return tracker.propertiesChanged(path, Variant(properties), Variant(invalidated));
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
  EXPECT_EQ(added(listing, "{'UUIDs': <['" + std::string(kFeaa) + "']>, 'RSSI': <int16 -70>}"),
            (Discovery{id("C0:FF:EE:00:00:04"), std::nullopt, -70}));
  EXPECT_EQ(changed(listing, "{'RSSI': <int16 -71>}"), std::nullopt);
}

TEST_F(BluezDeviceTrackerTest, EverySignalOfADeviceWithServiceDataIsAnAdvertisement) {
  tracker.startScan({kFeaa}, true);
  std::string path = device("C0:FF:EE:00:00:01");
  auto first = added(path, eddystone());
  ASSERT_TRUE(first);
  EXPECT_EQ(changed(path, "{'RSSI': <int16 -61>}"),
            (Discovery{first->peripheral, first->serviceData, -61}));
  EXPECT_EQ(changed(path, "{'ServiceData': <{'" + std::string(kFeaa) + "': <[byte 0x20]>}>}"),
            (Discovery{first->peripheral, ServiceDataMap{{"FEAA", {0x20}}}, -61}));
  EXPECT_EQ(changed(path, "{'Connected': <true>}"), std::nullopt);

  // Without duplicates, a device is told once per scan: here as in range at its start.
  EXPECT_EQ(tracker.startScan({kFeaa}, false).size(), 1u);
  EXPECT_EQ(changed(path, "{'RSSI': <int16 -62>}"), std::nullopt);
}

TEST_F(BluezDeviceTrackerTest, AScanStartsWithTheDevicesHeardLatelyOnly) {
  std::string heard = device("C0:FF:EE:00:00:01"), stale = device("C0:FF:EE:00:00:02");
  EXPECT_EQ(added(heard, eddystone()), std::nullopt);  // not scanning yet
  added(stale, "{'ServiceData': <{'" + std::string(kFeaa) + "': <[byte 0x00]>}>}");
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

TEST_F(BluezDeviceTrackerTest, PropertiesOfTheWrongTypeLeaveWhatWasKnown) {
  tracker.startScan({kFeaa}, true);
  std::string path = device("C0:FF:EE:00:00:01");
  ASSERT_TRUE(added(path, eddystone()));
  for (const std::string& wrong : std::vector<std::string>{
           "{'ServiceData': <[{'" + std::string(kFeaa) + "': <[byte 0x01]>}]>}",  // aa{sv}
           "{'RSSI': <int32 -10>}",
           "{'RSSI': <'loud'>}",
           "{'Address': <int16 5>}",
       }) {
    EXPECT_EQ(changed(path, wrong), std::nullopt) << wrong;
  }
  EXPECT_EQ(tracker.propertiesChanged(path, Variant("('not', 'a dictionary')"), Variant("@as []")),
            std::nullopt);
  // Entries of the wrong type are left out of the map, the rest kept.
  EXPECT_EQ(changed(path, "{'ServiceData': <{'FEAB': <'text'>, '" + std::string(kFeaa) +
                              "': <[byte 0x02]>}>}"),
            (Discovery{id("C0:FF:EE:00:00:01"), ServiceDataMap{{"FEAA", {0x02}}}, -60}));
}

TEST_F(BluezDeviceTrackerTest, TheAddressPropertyWinsOverTheObjectPath) {
  tracker.startScan({}, true);
  auto discovery =
      added(device("C0:FF:EE:00:00:01"), "{'Address': <'C0:FF:EE:00:00:09'>, 'RSSI': <int16 -60>}");
  ASSERT_TRUE(discovery);
  EXPECT_EQ(discovery->peripheral, id("C0:FF:EE:00:00:09"));
  // A signal for a device not listed yet still has its address in the path.
  discovery = changed(device("C0:FF:EE:00:00:02"), "{'RSSI': <int16 -60>}");
  ASSERT_TRUE(discovery);
  EXPECT_EQ(discovery->peripheral, id("C0:FF:EE:00:00:02"));
}

}  // namespace
}  // namespace vicinix
