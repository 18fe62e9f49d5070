#include <vicinix/color.h>

#include <cctype>
#include <cstdint>
#include <string>

namespace vicinix {

Color Color::fromHexString(std::string_view text) {
  auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  if (!text.empty() && text.front() == '#') text.remove_prefix(1);
  if (text.size() != 6) return gray();

  uint32_t rgb = 0;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (std::isxdigit(static_cast<unsigned char>(c))) {
      digit = std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
    } else {
      break;
    }
    rgb = rgb * 16 + static_cast<uint32_t>(digit);
  }
  return {((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0, (rgb & 0xFF) / 255.0, 1.0};
}

}  // namespace vicinix
