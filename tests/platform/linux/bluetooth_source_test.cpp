#include "platform/linux/bluetooth_source.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

using Kind = BluetoothSource::Kind;

TEST(BluetoothSource, ReadsEachSource) {
  struct Case {
    const char* text;
    Kind kind;
    const char* adapter;
    int index;
    double refresh = BluezCentralOptions::kDefaultRefreshSeconds;
  };
  for (const Case& c :
       {Case{"bluez", Kind::bluez, "", 0}, Case{"bluez:hci1", Kind::bluez, "hci1", 0},
        Case{"hci", Kind::hci, "", 0}, Case{"hci:2", Kind::hci, "", 2},
        Case{"hci:hci3", Kind::hci, "", 3}, Case{"bluez,refresh=2.5", Kind::bluez, "", 0, 2.5},
        Case{"bluez:hci1,refresh=0", Kind::bluez, "hci1", 0, 0}}) {
    std::string error;
    auto source = BluetoothSource::parse(c.text, error);
    ASSERT_TRUE(source) << c.text << ": " << error;
    EXPECT_EQ(source->kind, c.kind) << c.text;
    EXPECT_EQ(source->adapter, c.adapter) << c.text;
    EXPECT_EQ(source->hciIndex, c.index) << c.text;
    EXPECT_EQ(source->refreshSeconds, c.refresh) << c.text;
  }
}

TEST(BluetoothSource, SaysWhatIsWrongWithATypo) {
  struct Case {
    const char* text;
    const char* error;
  };
  for (const Case& c : {
           Case{"", "unknown Bluetooth source \"\": use bluez, bluez:ADAPTER, hci or hci:INDEX"},
           Case{"blues:hci0",
                "unknown Bluetooth source \"blues:hci0\": use bluez, bluez:ADAPTER, hci or "
                "hci:INDEX"},
           Case{"bluez:", "\"\" is no BlueZ adapter name (like hci0)"},
           Case{"bluez:/org/bluez/hci0",
                "\"/org/bluez/hci0\" is no BlueZ adapter name (like hci0)"},
           Case{"hci:-1", "\"-1\" is no HCI adapter index (like 0 or hci0)"},
           Case{"hci:1x", "\"1x\" is no HCI adapter index (like 0 or hci0)"},
           Case{"bluez,refresh=0.1",
                "\"0.1\" is no refresh period: seconds from 0.5 to 3600, or 0 for none"},
           Case{"bluez,refresh=",
                "\"\" is no refresh period: seconds from 0.5 to 3600, or 0 for none"},
           Case{"bluez,window=3", "unknown BlueZ option \"window=3\": use refresh=SECONDS"},
           Case{"hci,refresh=5", "the HCI source takes no options (\"refresh=5\")"},
       }) {
    std::string error;
    EXPECT_FALSE(BluetoothSource::parse(c.text, error)) << c.text;
    EXPECT_EQ(error, c.error);
  }
}

}  // namespace
}  // namespace vicinix
