#include "platform/fake/fake_image_codec.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace vicinix {
namespace {

constexpr std::string_view kPicture = "FAKEIMG";
constexpr std::string_view kJPEG = "FAKEJPG";
constexpr size_t kHeader = 7 + 4 + 4;

void putInt(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t getInt(std::span<const uint8_t> in) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | in[i];
  return value;
}

std::vector<uint8_t> encode(std::string_view magic, const Image& image,
                            std::optional<double> quality) {
  std::vector<uint8_t> out(magic.begin(), magic.end());
  putInt(out, static_cast<uint32_t>(image.width));
  putInt(out, static_cast<uint32_t>(image.height));
  if (quality) putInt(out, static_cast<uint32_t>(*quality * 1000 + 0.5));
  out.insert(out.end(), image.rgba->begin(), image.rgba->end());
  return out;
}

}  // namespace

std::vector<uint8_t> FakeImageCodec::pictureBytes(int width, int height, uint8_t gray) {
  Image image{
      width, height,
      std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(width * height * 4), gray)};
  return encode(kPicture, image, std::nullopt);
}

double FakeImageCodec::jpegQuality(const std::vector<uint8_t>& bytes) {
  if (bytes.size() < kHeader + 4 || !std::equal(kJPEG.begin(), kJPEG.end(), bytes.begin())) {
    return -1;
  }
  return getInt(std::span(bytes).subspan(kHeader, 4)) / 1000.0;
}

std::optional<Image> FakeImageCodec::decode(std::span<const uint8_t> data) {
  if (data.size() < kHeader) return std::nullopt;
  std::string_view magic(reinterpret_cast<const char*>(data.data()), 7);
  size_t offset = kHeader;
  if (magic == kJPEG) {
    offset += 4;
  } else if (magic != kPicture) {
    return std::nullopt;
  }
  uint32_t width = getInt(data.subspan(7)), height = getInt(data.subspan(11));
  if (width == 0 || height == 0 || width > 4096 || height > 4096) return std::nullopt;
  size_t size = static_cast<size_t>(width) * height * 4;
  if (data.size() != offset + size) return std::nullopt;
  return Image{static_cast<int>(width), static_cast<int>(height),
               std::make_shared<std::vector<uint8_t>>(data.begin() + offset, data.end())};
}

std::optional<Image> FakeImageCodec::decodeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
  return decode(bytes);
}

std::optional<std::vector<uint8_t>> FakeImageCodec::encodeJPEG(const Image& image, double quality) {
  if (jpegFails_ || image.empty()) return std::nullopt;
  return encode(kJPEG, image, std::clamp(quality, 0.0, 1.0));
}

std::optional<std::vector<uint8_t>> FakeImageCodec::encodePNG(const Image& image) {
  if (pngFails_ || image.empty()) return std::nullopt;
  return encode(kPicture, image, std::nullopt);
}

}  // namespace vicinix
