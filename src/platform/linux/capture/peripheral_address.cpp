#include "platform/linux/capture/peripheral_address.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>

namespace vicinix {

namespace {

// Ours alone, so these identifiers cannot collide with name-based UUIDs of
// anything else.
constexpr std::array<uint8_t, 16> kAddressNamespace = {
    0xd7, 0x63, 0xb8, 0xdc, 0x0d, 0xcf, 0x46, 0x5b, 0xb5, 0x97, 0x12, 0x79, 0xc9, 0xb0, 0x54, 0xb9};

}  // namespace

PeripheralIdentifier peripheralIdentifierForAddress(const std::array<uint8_t, 6>& address) {
  char name[18];
  std::snprintf(name, sizeof name, "%02X:%02X:%02X:%02X:%02X:%02X", address[5], address[4],
                address[3], address[2], address[1], address[0]);
  GChecksum* checksum = g_checksum_new(G_CHECKSUM_SHA1);
  g_checksum_update(checksum, kAddressNamespace.data(), kAddressNamespace.size());
  g_checksum_update(checksum, reinterpret_cast<const guchar*>(name), sizeof name - 1);
  guint8 digest[20];
  gsize length = sizeof digest;
  g_checksum_get_digest(checksum, digest, &length);
  g_checksum_free(checksum);

  PeripheralIdentifier identifier;
  std::copy_n(digest, identifier.bytes.size(), identifier.bytes.begin());
  identifier.bytes[6] = static_cast<uint8_t>((identifier.bytes[6] & 0x0f) | 0x50);  // version 5
  identifier.bytes[8] = static_cast<uint8_t>((identifier.bytes[8] & 0x3f) | 0x80);  // RFC 4122
  return identifier;
}

}  // namespace vicinix
