#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace vicinix {

// A decoded picture: straight (not premultiplied) RGBA, row after row, no padding.
struct Image {
  int width = 0;
  int height = 0;
  std::shared_ptr<const std::vector<uint8_t>> rgba;

  bool empty() const { return !rgba || width <= 0 || height <= 0; }
};

// Turns picture files into Images and back. Any thread; calls are independent.
class ImageCodec {
 public:
  virtual ~ImageCodec() = default;
  // Nothing when the bytes are not a picture of a known format.
  virtual std::optional<Image> decode(std::span<const uint8_t> data) = 0;
  // Nothing when the file is missing, unreadable or not a picture.
  virtual std::optional<Image> decodeFile(const std::filesystem::path& path) = 0;
  // JPEG at `quality`, clamped to 0...1 (1 is the best the encoder does).
  // Nothing when the picture cannot be encoded.
  virtual std::optional<std::vector<uint8_t>> encodeJPEG(const Image& image, double quality) = 0;
  virtual std::optional<std::vector<uint8_t>> encodePNG(const Image& image) = 0;
};

}  // namespace vicinix
