#pragma once

#include <cstdint>

#include "platform/image_codec.h"

namespace vicinix {

// Pictures through gdk-pixbuf. Only PNG, JPEG, GIF and WebP (CDNs serve it;
// its loader is the separate webp-pixbuf-loader) are read: the other loaders
// a desktop has installed (SVG, TIFF, ICO, ...) are attack surface the SDK has
// no use for. A picture of more than `maxPixels` is refused before its
// pixels are allocated, so a small hostile file cannot claim gigabytes.
class GdkPixbufImageCodec final : public ImageCodec {
 public:
  static constexpr int64_t kDefaultMaxPixels = int64_t{8192} * 8192;

  explicit GdkPixbufImageCodec(int64_t maxPixels = kDefaultMaxPixels) : maxPixels_(maxPixels) {}

  // Whether gdk-pixbuf has a loader for `type` ("png", "webp"...) installed.
  static bool canRead(const char* type);

  std::optional<Image> decode(std::span<const uint8_t> data) override;
  // Regular files only: a FIFO or device could block the caller forever.
  std::optional<Image> decodeFile(const std::filesystem::path& path) override;
  // Transparent pixels are laid over white, as JPEG has no alpha.
  std::optional<std::vector<uint8_t>> encodeJPEG(const Image& image, double quality) override;
  std::optional<std::vector<uint8_t>> encodePNG(const Image& image) override;

 private:
  int64_t maxPixels_;
};

}  // namespace vicinix
