#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/image_codec.h"

namespace vicinix {

// A codec with its own trivial file format, so tests make pictures in one
// line and see what was encoded: "FAKEIMG" or "FAKEJPG", width, height, then
// the pixels. JPEG output also records the quality it was asked for.
class FakeImageCodec final : public ImageCodec {
 public:
  // The bytes of a picture `width` × `height` filled with `gray`.
  static std::vector<uint8_t> pictureBytes(int width, int height, uint8_t gray = 0x80);
  // The quality a FAKEJPG file was written with; negative when it is no such file.
  static double jpegQuality(const std::vector<uint8_t>& bytes);

  std::optional<Image> decode(std::span<const uint8_t> data) override;
  std::optional<Image> decodeFile(const std::filesystem::path& path) override;
  std::optional<std::vector<uint8_t>> encodeJPEG(const Image& image, double quality) override;
  std::optional<std::vector<uint8_t>> encodePNG(const Image& image) override;

  void setJPEGFails(bool fails) { jpegFails_ = fails; }
  void setPNGFails(bool fails) { pngFails_ = fails; }

 private:
  std::atomic<bool> jpegFails_{false};
  std::atomic<bool> pngFails_{false};
};

}  // namespace vicinix
