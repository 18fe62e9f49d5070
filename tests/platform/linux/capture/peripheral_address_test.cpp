#include "platform/linux/capture/peripheral_address.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

std::string text(const PeripheralIdentifier& identifier) {
  std::string hex;
  for (uint8_t byte : identifier.bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0xf];
  }
  return hex;
}

// Expected values from Python's uuid.uuid5(UUID("d763b8dc-0dcf-465b-b597-1279c9b054b9"),
// "C0:FF:EE:00:00:01"): the address is hashed in BlueZ's byte order and case, so a
// central that only has BlueZ's text of the address arrives at the same identifier.
TEST(PeripheralAddressTest, NameBasedUuidOfTheAddressAsBlueZWritesIt) {
  EXPECT_EQ(text(peripheralIdentifierForAddress({0x01, 0x00, 0x00, 0xEE, 0xFF, 0xC0})),
            "8a3419b87bab575dba28fb5785bd1af5");
  EXPECT_EQ(text(peripheralIdentifierForAddress({0, 0, 0, 0, 0, 0})),
            "d02dd179a61d5c54bf161f9acab602ce");
}

}  // namespace
}  // namespace vicinix
