#include "platform/linux/bluetooth_address.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>

#include "base/hex.h"

namespace vicinix {
namespace {

// The name space of name-based (version 5) identifiers made from addresses.
// Fixed for good: changing it would make every known device look new.
constexpr std::array<uint8_t, 16> kAddressNamespace = {
    0xf1, 0x5e, 0x5e, 0x94, 0x50, 0x79, 0x4a, 0x6f, 0xa0, 0xf5, 0xf9, 0x92, 0x59, 0x40, 0x4e, 0x9a};

}  // namespace

std::optional<BluetoothAddress> BluetoothAddress::parse(std::string_view text) {
  if (text.size() != 17) return std::nullopt;
  BluetoothAddress address;
  for (size_t i = 0; i < 6; ++i) {
    int high = hexDigit(text[i * 3]), low = hexDigit(text[i * 3 + 1]);
    if (high < 0 || low < 0 || (i < 5 && text[i * 3 + 2] != ':')) return std::nullopt;
    address.bytes[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return address;
}

BluetoothAddress BluetoothAddress::fromLittleEndian(const std::array<uint8_t, 6>& address) {
  BluetoothAddress result;
  std::reverse_copy(address.begin(), address.end(), result.bytes.begin());
  return result;
}

std::string BluetoothAddress::text() const {
  char text[18];
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0], bytes[1], bytes[2],
                bytes[3], bytes[4], bytes[5]);
  return text;
}

// SHA-1 of the name space and the address bytes, stamped as version 5: an
// identifier shaped like the random ones other stacks hand out, spread over
// all 16 bytes as the identifier's hash expects.
PeripheralIdentifier BluetoothAddress::peripheralIdentifier() const {
  GChecksum* sha1 = g_checksum_new(G_CHECKSUM_SHA1);
  g_checksum_update(sha1, kAddressNamespace.data(), kAddressNamespace.size());
  g_checksum_update(sha1, bytes.data(), bytes.size());
  std::array<uint8_t, 20> digest{};
  gsize length = digest.size();
  g_checksum_get_digest(sha1, digest.data(), &length);
  g_checksum_free(sha1);

  PeripheralIdentifier identifier;
  std::copy_n(digest.begin(), identifier.bytes.size(), identifier.bytes.begin());
  identifier.bytes[6] = static_cast<uint8_t>((identifier.bytes[6] & 0x0f) | 0x50);
  identifier.bytes[8] = static_cast<uint8_t>((identifier.bytes[8] & 0x3f) | 0x80);
  return identifier;
}

}  // namespace vicinix
