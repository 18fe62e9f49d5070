#include "platform/linux/service_uuid.h"

#include <algorithm>
#include <cstdio>

namespace vicinix {
namespace {

// 00000000-0000-1000-8000-00805F9B34FB: short UUIDs fill its first four bytes.
constexpr std::array<uint8_t, 12> kBaseTail = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                               0x00, 0x80, 0x5f, 0x9b, 0x34, 0xfb};

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `text` (digits only) into `into`, most significant byte first.
bool readHex(std::string_view text, uint8_t* into) {
  for (size_t i = 0; i < text.size(); i += 2) {
    int high = hexDigit(text[i]), low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    into[i / 2] = static_cast<uint8_t>(high << 4 | low);
  }
  return true;
}

std::string hex(const uint8_t* bytes, size_t count, const char* format) {
  std::string text;
  char digits[3];
  for (size_t i = 0; i < count; ++i) {
    std::snprintf(digits, sizeof digits, format, bytes[i]);
    text += digits;
  }
  return text;
}

}  // namespace

std::optional<ServiceUUID> ServiceUUID::parse(std::string_view text) {
  ServiceUUID uuid;
  if (text.size() == 4 || text.size() == 8) {
    std::copy(kBaseTail.begin(), kBaseTail.end(), uuid.bytes_.begin() + 4);
    size_t skip = 4 - text.size() / 2;
    if (!readHex(text, uuid.bytes_.data() + skip)) return std::nullopt;
    return uuid;
  }
  if (text.size() != 36) return std::nullopt;
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i) {
    bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash != (text[i] == '-')) return std::nullopt;
    if (!dash) digits += text[i];
  }
  if (!readHex(digits, uuid.bytes_.data())) return std::nullopt;
  return uuid;
}

ServiceUUID ServiceUUID::from16(uint16_t value) {
  ServiceUUID uuid;
  uuid.bytes_[2] = static_cast<uint8_t>(value >> 8);
  uuid.bytes_[3] = static_cast<uint8_t>(value);
  std::copy(kBaseTail.begin(), kBaseTail.end(), uuid.bytes_.begin() + 4);
  return uuid;
}

std::string ServiceUUID::fullText() const {
  const uint8_t* b = bytes_.data();
  return hex(b, 4, "%02x") + "-" + hex(b + 4, 2, "%02x") + "-" + hex(b + 6, 2, "%02x") + "-" +
         hex(b + 8, 2, "%02x") + "-" + hex(b + 10, 6, "%02x");
}

std::string ServiceUUID::shortText() const {
  bool based = std::equal(kBaseTail.begin(), kBaseTail.end(), bytes_.begin() + 4);
  if (based && bytes_[0] == 0 && bytes_[1] == 0) return hex(bytes_.data() + 2, 2, "%02X");
  if (based) return hex(bytes_.data(), 4, "%02X");
  std::string text = fullText();
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c; });
  return text;
}

std::optional<uint16_t> ServiceUUID::uuid16() const {
  bool based = std::equal(kBaseTail.begin(), kBaseTail.end(), bytes_.begin() + 4);
  if (!based || bytes_[0] != 0 || bytes_[1] != 0) return std::nullopt;
  return static_cast<uint16_t>(bytes_[2] << 8 | bytes_[3]);
}

}  // namespace vicinix
