#include "beacons/beacon_info.h"

#include <array>

#include "base/sdk.h"

namespace vicinix {
namespace {

using FrameType = BeaconInfo::EddystoneFrameType;
using BeaconType = BeaconID::BeaconType;

constexpr uint8_t kUIDFrame = 0x00;
constexpr uint8_t kURLFrame = 0x10;
constexpr uint8_t kTelemetryFrame = 0x20;
constexpr uint8_t kEIDFrame = 0x30;

constexpr size_t kIdentifierOffset = 2;
constexpr size_t kURLSchemeOffset = 2;

constexpr std::array<std::string_view, 4> kSchemePrefixes = {"http://www.", "https://www.",
                                                             "http://", "https://"};
constexpr std::array<std::string_view, 14> kExpansions = {
    ".com/", ".org/", ".edu/", ".net/", ".info/", ".biz/", ".gov/",
    ".com",  ".org",  ".edu",  ".net",  ".info",  ".biz",  ".gov"};
// One character per code so a single-byte expansion can be a view, not a string.
constexpr auto kAsciiCharacters = [] {
  std::array<char, 128> characters{};
  for (size_t i = 0; i < characters.size(); ++i) characters[i] = static_cast<char>(i);
  return characters;
}();

bool equalsIgnoringCase(std::string_view text, std::string_view lowercase) {
  if (text.size() != lowercase.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lowercase[i]) return false;
  }
  return true;
}

// BlueZ names services by their full UUID where other stacks use the short
// form; both denote the same service.
bool isEddystoneService(std::string_view uuid) {
  return equalsIgnoringCase(uuid, "feaa") ||
         equalsIgnoringCase(uuid, "0000feaa-0000-1000-8000-00805f9b34fb");
}

// Parsing needs no SDK; a tool replaying captures may run it without one.
void systemLog(std::string_view line) {
  if (Sdk::isInstalled()) Sdk::current().log().systemLine(line);
}

const std::vector<uint8_t>* eddystoneEntry(const ServiceDataMap& advertisementFrameList) {
  for (const auto& [uuid, data] : advertisementFrameList) {
    if (isEddystoneService(uuid)) return &data;
  }
  return nullptr;
}

std::optional<BeaconInfo> noBeacon(std::string_view line) {
  systemLog(line);
  return std::nullopt;
}

}  // namespace

std::span<const uint8_t> BeaconInfo::eddystoneServiceData(
    const ServiceDataMap& advertisementFrameList) {
  const auto* entry = eddystoneEntry(advertisementFrameList);
  return entry ? std::span<const uint8_t>(*entry) : std::span<const uint8_t>();
}

FrameType BeaconInfo::frameTypeForFrame(const ServiceDataMap& advertisementFrameList) {
  return frameTypeForFrame(eddystoneServiceData(advertisementFrameList));
}

FrameType BeaconInfo::frameTypeForFrame(std::span<const uint8_t> frameData) {
  if (frameData.size() < 2) return FrameType::UnknownFrameType;
  switch (frameData[0]) {
    case kUIDFrame:
      return FrameType::UIDFrameType;
    case kURLFrame:
      return FrameType::URLFrameType;
    case kTelemetryFrame:
      return FrameType::TelemetryFrameType;
    case kEIDFrame:
      return FrameType::EIDFrameType;
    default:
      return FrameType::UnknownFrameType;
  }
}

TelemetryData BeaconInfo::telemetryDataForFrame(const ServiceDataMap& advertisementFrameList) {
  const auto* entry = eddystoneEntry(advertisementFrameList);
  return entry ? std::make_shared<const std::vector<uint8_t>>(*entry) : nullptr;
}

struct BeaconInfo::IdentifierFrame {
  uint8_t frameType;
  size_t length;  // type and power bytes, then the identifier
  BeaconType beaconType;
  std::string_view wrongType;
  std::string_view truncated;
};

std::optional<BeaconInfo> BeaconInfo::beaconInfoFor(const IdentifierFrame& layout,
                                                    std::span<const uint8_t> frameData,
                                                    TelemetryData telemetry, int RSSI) {
  if (frameData.size() < 2) return std::nullopt;
  if (frameData[0] != layout.frameType) return noBeacon(layout.wrongType);
  if (frameData.size() < layout.length) return noBeacon(layout.truncated);
  auto identifier = frameData.subspan(kIdentifierOffset, layout.length - kIdentifierOffset);
  return BeaconInfo(BeaconID(layout.beaconType, identifier), static_cast<int8_t>(frameData[1]),
                    RSSI, std::move(telemetry));
}

std::optional<BeaconInfo> BeaconInfo::beaconInfoForUIDFrameData(std::span<const uint8_t> frameData,
                                                                TelemetryData telemetry, int RSSI) {
  static constexpr IdentifierFrame kUID = {
      .frameType = kUIDFrame,
      .length = 18,  // 10-byte namespace, 6-byte instance; reserved bytes may follow
      .beaconType = BeaconType::Eddystone,
      .wrongType = "Unexpected non UID Frame passed to BeaconInfoForUIDFrameData.",
      .truncated = "Frame Data for UID Frame unexpectedly truncated in BeaconInfoForUIDFrameData."};
  return beaconInfoFor(kUID, frameData, std::move(telemetry), RSSI);
}

std::optional<BeaconInfo> BeaconInfo::beaconInfoForEIDFrameData(std::span<const uint8_t> frameData,
                                                                TelemetryData telemetry, int RSSI) {
  static constexpr IdentifierFrame kEID = {
      .frameType = kEIDFrame,
      .length = 10,  // 8-byte ephemeral identifier
      .beaconType = BeaconType::EddystoneEID,
      .wrongType = "Unexpected non EID Frame passed to BeaconInfoForEIDFrameData.",
      .truncated = "Frame Data for EID Frame unexpectedly truncated in BeaconInfoForEIDFrameData."};
  return beaconInfoFor(kEID, frameData, std::move(telemetry), RSSI);
}

std::optional<Url> BeaconInfo::parseURLFromFrame(std::span<const uint8_t> frameData) {
  if (frameData.size() <= kURLSchemeOffset) return std::nullopt;
  auto prefix = URLPrefixFromByte(frameData[kURLSchemeOffset]);
  if (!prefix) return std::nullopt;
  auto codes = frameData.subspan(kURLSchemeOffset + 1);
  constexpr size_t kLongestExpansion = 6;
  std::string text;
  text.reserve(prefix->size() + kLongestExpansion * codes.size());
  text.append(*prefix);
  for (uint8_t code : codes) {
    if (auto expansion = encodedStringFromByte(code)) text.append(*expansion);
  }
  // Control characters are expanded like any other byte; the strict URL
  // parser is what turns such a text away.
  return Url::parse(text);
}

std::optional<std::string_view> BeaconInfo::URLPrefixFromByte(uint8_t schemeID) {
  if (schemeID >= kSchemePrefixes.size()) return std::nullopt;
  return kSchemePrefixes[schemeID];
}

std::optional<std::string_view> BeaconInfo::encodedStringFromByte(uint8_t charVal) {
  if (charVal < kExpansions.size()) return kExpansions[charVal];
  // A lone byte above 127 is not UTF-8 text.
  if (charVal >= kAsciiCharacters.size()) return std::nullopt;
  return std::string_view(&kAsciiCharacters[charVal], 1);
}

std::string BeaconInfo::description() const {
  std::string type =
      beaconID_.beaconType() == BeaconID::BeaconType::Eddystone ? "Eddystone " : "Eddystone EID ";
  return type + beaconID_.description() + ", txPower: " + std::to_string(txPower_) +
         ", RSSI: " + std::to_string(RSSI_);
}

}  // namespace vicinix
