#include "platform/linux/capture/peripheral_address.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

// Python's uuid.uuid5(UUID("d763b8dc-0dcf-465b-b597-1279c9b054b9"), "C0:FF:EE:00:00:01"):
// the address is hashed in BlueZ's byte order and case, so a central that only
// has BlueZ's text of the address arrives at the same identifier.
TEST(PeripheralAddressTest, NameBasedUuidOfTheAddressAsBlueZWritesIt) {
  EXPECT_EQ(peripheralIdentifierForAddress({0x01, 0x00, 0x00, 0xEE, 0xFF, 0xC0}),
            (PeripheralIdentifier{{0x8a, 0x34, 0x19, 0xb8, 0x7b, 0xab, 0x57, 0x5d, 0xba, 0x28, 0xfb,
                                   0x57, 0x85, 0xbd, 0x1a, 0xf5}}));
}

}  // namespace
}  // namespace vicinix
