#include "beacons/beacon_id.h"

#include <algorithm>
#include <string_view>

namespace vicinix {
namespace {

constexpr std::string_view kDescriptionPrefix = "BeaconID beacon: ";
constexpr size_t kNamespaceBytes = 10;  // 20 hexadecimal characters

void appendHex(std::string& text, std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  size_t at = text.size();
  text.resize(at + 2 * bytes.size());
  for (uint8_t byte : bytes) {
    text[at++] = kDigits[byte >> 4];
    text[at++] = kDigits[byte & 0x0f];
  }
}

}  // namespace

BeaconID::BeaconID(BeaconType type, std::span<const uint8_t> bytes)
    : length_(static_cast<uint8_t>(std::min(bytes.size(), maximumLength))), beaconType_(type) {
  std::copy_n(bytes.begin(), length_, bytes_.begin());
}

std::string BeaconID::description() const {
  std::string text;
  text.reserve(kDescriptionPrefix.size() + 2 * maximumLength);
  text.append(kDescriptionPrefix);
  appendHex(text, beaconID());
  return text;
}

std::string BeaconID::nameSpace() const {
  std::string text;
  appendHex(text, beaconID().first(std::min<size_t>(length_, kNamespaceBytes)));
  return text;
}

std::string BeaconID::instance() const {
  std::string text;
  if (length_ > kNamespaceBytes) appendHex(text, beaconID().subspan(kNamespaceBytes));
  return text;
}

}  // namespace vicinix
