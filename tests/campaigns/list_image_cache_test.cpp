#include "campaigns/list_image_cache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>

#include "campaigns/image_downloader.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

// The fake codec, counting the files it decodes.
class CountingCodec final : public ImageCodec {
 public:
  std::optional<Image> decode(std::span<const uint8_t> data) override {
    return codec_.decode(data);
  }
  std::optional<Image> decodeFile(const std::filesystem::path& path) override {
    ++fileDecodes;
    return codec_.decodeFile(path);
  }
  std::optional<std::vector<uint8_t>> encodeJPEG(const Image& image, double quality) override {
    return codec_.encodeJPEG(image, quality);
  }
  std::optional<std::vector<uint8_t>> encodePNG(const Image& image) override {
    return codec_.encodePNG(image);
  }

  std::atomic<int> fileDecodes{0};

 private:
  FakeImageCodec codec_;
};

class ListImageCacheTest : public ::testing::Test {
 protected:
  std::shared_ptr<CountingCodec> codec = std::make_shared<CountingCodec>();
  FakeSdk env{[this](Platform& platform) { platform.images = codec; }};

  void write(const std::string& name, int width, int height) {
    ImageDownloader& downloader = ImageDownloader::shared();
    downloader.createImageDirectoryIfNeeded();
    auto bytes = FakeImageCodec::pictureBytes(width, height);
    std::ofstream(downloader.imagesDirectory() / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
};

TEST_F(ListImageCacheTest, DecodesAFileOnceUntilItChanges) {
  ListImageCache& cache = ListImageCache::shared();
  EXPECT_FALSE(cache.image("a.png"));
  write("a.png", 4, 4);
  EXPECT_EQ(cache.image("a.png")->width, 4);
  EXPECT_EQ(cache.image("a.png")->width, 4);
  EXPECT_EQ(codec->fileDecodes, 1);
  EXPECT_EQ(cache.cost(), 4u * 4 * 4);

  // A new download under the same name.
  write("a.png", 5, 4);
  EXPECT_EQ(cache.image("a.png")->width, 5);
  EXPECT_EQ(codec->fileDecodes, 2);

  std::filesystem::remove(ImageDownloader::shared().imagesDirectory() / "a.png");
  EXPECT_FALSE(cache.image("a.png"));
  EXPECT_EQ(cache.cost(), 0u);
  EXPECT_FALSE(cache.image("../a.png"));
}

TEST_F(ListImageCacheTest, KeepsAtMostItsCapacityLeastRecentlyUsedGoingFirst) {
  // Room for two 4 × 4 pictures, not three.
  ListImageCache cache(env.sdk(), 2 * 64 + 10);
  for (const char* name : {"a.png", "b.png", "c.png"}) write(name, 4, 4);
  cache.image("a.png");
  cache.image("b.png");
  cache.image("a.png");  // b is now the oldest
  cache.image("c.png");
  EXPECT_EQ(codec->fileDecodes, 3);
  EXPECT_EQ(cache.cost(), 2u * 64);
  cache.image("a.png");
  EXPECT_EQ(codec->fileDecodes, 3);
  cache.image("b.png");
  EXPECT_EQ(codec->fileDecodes, 4);

  // A picture larger than the whole cache is handed out, not kept.
  write("big.png", 10, 10);
  EXPECT_EQ(cache.image("big.png")->width, 10);
  EXPECT_LE(cache.cost(), 2u * 64);
}

}  // namespace
}  // namespace vicinix
