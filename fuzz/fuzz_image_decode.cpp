// Campaign pictures come from the network: whatever the bytes, decoding must
// end in a picture or a refusal, never a fault, and a picture must be whole.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/linux/gdk_pixbuf_image_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A small limit keeps every run quick; the limit's own path is what counts.
  static vicinix::GdkPixbufImageCodec codec(int64_t{1024} * 1024);
  auto image = codec.decode(std::span(data, size));
  if (!image) return 0;
  if (image->empty() || image->rgba->size() != size_t(image->width) * size_t(image->height) * 4) {
    std::abort();
  }
  // What we decode, we must be able to store and read back unchanged.
  if (int64_t{image->width} * image->height <= 64 * 1024) {
    auto png = codec.encodePNG(*image);
    if (!png) std::abort();
    auto again = codec.decode(*png);
    if (!again || *again->rgba != *image->rgba) std::abort();
  }
  return 0;
}
