#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "platform/linux/gdk_pixbuf_image_codec.h"

namespace vicinix {
namespace {

// A campaign picture's usual size, with some detail for the encoders to chew on.
Image campaignPicture() {
  constexpr int kWidth = 1024;
  constexpr int kHeight = 768;
  auto rgba = std::make_shared<std::vector<uint8_t>>();
  rgba->reserve(size_t(kWidth) * kHeight * 4);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      rgba->insert(rgba->end(), {uint8_t(x / 4), uint8_t(y / 3), uint8_t(x ^ y), 255});
    }
  }
  return Image{.width = kWidth, .height = kHeight, .rgba = rgba};
}

// What the image downloader pays for each picture it receives (argument 0: JPEG, 1: PNG).
void BM_GdkPixbufDecode(benchmark::State& state) {
  GdkPixbufImageCodec codec;
  Image picture = campaignPicture();
  std::vector<uint8_t> bytes =
      state.range(0) == 0 ? *codec.encodeJPEG(picture, 0.8) : *codec.encodePNG(picture);
  for (auto _ : state) benchmark::DoNotOptimize(codec.decode(bytes));
  state.SetBytesProcessed(state.iterations() * int64_t(bytes.size()));
  state.counters["file_bytes"] = double(bytes.size());
}
BENCHMARK(BM_GdkPixbufDecode)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Storing a picture in the cache, and the notification's copy at 0.8.
void BM_GdkPixbufEncodeJpeg(benchmark::State& state) {
  GdkPixbufImageCodec codec;
  Image picture = campaignPicture();
  for (auto _ : state) benchmark::DoNotOptimize(codec.encodeJPEG(picture, 0.8));
}
BENCHMARK(BM_GdkPixbufEncodeJpeg)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vicinix
