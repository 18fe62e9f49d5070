#include "platform/linux/bluetooth_address.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

TEST(BluetoothAddress, ReadsTheWrittenFormAndTheHciByteOrderAlike) {
  auto written = BluetoothAddress::parse("c0:ff:ee:00:00:01");
  ASSERT_TRUE(written);
  EXPECT_EQ(written->text(), "C0:FF:EE:00:00:01");
  EXPECT_EQ(BluetoothAddress::fromLittleEndian({0x01, 0x00, 0x00, 0xee, 0xff, 0xc0}), *written);
  for (const char* text :
       {"", "C0:FF:EE:00:00", "C0:FF:EE:00:00:0G", "C0-FF-EE-00-00-01", "C0:FF:EE:00:00:01:02"}) {
    EXPECT_FALSE(BluetoothAddress::parse(text)) << text;
  }
}

// Identifiers are kept with each device's telemetry and may be stored by
// hosts: a change to the derivation would make every known device new.
TEST(BluetoothAddress, GivesTheNameBasedIdentifierOfItsBytes) {
  EXPECT_EQ(BluetoothAddress::parse("C0:FF:EE:00:00:01")->peripheralIdentifier(),
            (PeripheralIdentifier{{0x0f, 0x1c, 0x44, 0x3b, 0x26, 0x66, 0x58, 0xc0, 0xa9, 0xf2, 0x90,
                                   0xc5, 0xd7, 0x5d, 0xdd, 0x06}}));
}

}  // namespace
}  // namespace vicinix
