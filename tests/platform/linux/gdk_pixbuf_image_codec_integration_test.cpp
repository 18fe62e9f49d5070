#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <string>
#include <tuple>

#include "platform/linux/gdk_pixbuf_image_codec.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

// Every pixel different, so a swapped channel or a skewed row shows.
Image pattern(int width, int height, bool translucent) {
  auto rgba = std::make_shared<std::vector<uint8_t>>();
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      rgba->insert(rgba->end(), {uint8_t(x * 37), uint8_t(y * 59), uint8_t((x + y) * 11),
                                 uint8_t(translucent ? (x * 13 + y * 7) : 255)});
  return Image{.width = width, .height = height, .rgba = rgba};
}

Image filled(int width, int height, std::array<uint8_t, 4> pixel) {
  auto rgba = std::make_shared<std::vector<uint8_t>>();
  for (int i = 0; i < width * height; ++i) rgba->insert(rgba->end(), pixel.begin(), pixel.end());
  return Image{.width = width, .height = height, .rgba = rgba};
}

TEST(GdkPixbufImageCodec, PngKeepsEveryPixelAndItsAlpha) {
  GdkPixbufImageCodec codec;
  // An odd width gives gdk-pixbuf rows with padding at their ends.
  Image original = pattern(13, 7, true);
  auto decoded = codec.decode(codec.encodePNG(original).value());
  ASSERT_TRUE(decoded);
  EXPECT_EQ(std::tie(decoded->width, decoded->height, *decoded->rgba),
            std::tie(original.width, original.height, *original.rgba));
}

TEST(GdkPixbufImageCodec, JpegLaysTransparencyOverWhiteAndComesBackOpaque) {
  GdkPixbufImageCodec codec;
  testing::TemporaryDirectory directory;
  struct Case {
    std::array<uint8_t, 4> pixel;
    std::array<uint8_t, 3> expected;
  };
  for (const Case& c :
       {Case{{200, 40, 40, 255}, {200, 40, 40}}, Case{{200, 40, 40, 0}, {255, 255, 255}},
        Case{{0, 0, 0, 128}, {127, 127, 127}}}) {
    SCOPED_TRACE(int(c.pixel[3]));
    auto jpeg = codec.encodeJPEG(filled(33, 17, c.pixel), 1.0);
    ASSERT_TRUE(jpeg);
    // Read back from a file, as the notification picture is.
    std::ofstream(directory.path / "picture.jpg", std::ios::binary)
        .write(reinterpret_cast<const char*>(jpeg->data()), std::streamsize(jpeg->size()));
    auto decoded = codec.decodeFile(directory.path / "picture.jpg");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(std::pair(decoded->width, decoded->height), std::pair(33, 17));
    const auto& rgba = *decoded->rgba;
    ASSERT_EQ(rgba.size(), size_t(33 * 17 * 4));
    for (int channel = 0; channel < 3; ++channel)
      EXPECT_NEAR(rgba[channel], c.expected[channel], 4) << "channel " << channel;
    EXPECT_EQ(rgba[3], 255);
  }
}

TEST(GdkPixbufImageCodec, TurnsPhotosUprightByTheirOrientationTag) {
  GdkPixbufImageCodec codec;
  std::vector<uint8_t> jpeg = codec.encodeJPEG(pattern(17, 9, false), 0.9).value();
  // An EXIF segment with one entry, orientation 6: "turn a quarter clockwise".
  const std::vector<uint8_t> exif = {0xff, 0xe1, 0x00, 0x22, 'E', 'x', 'i', 'f', 0, 0,    'M', 'M',
                                     0,    0x2a, 0,    0,    0,   8,   0,   1,   1, 0x12, 0,   3,
                                     0,    0,    0,    1,    0,   6,   0,   0,   0, 0,    0,   0};
  jpeg.insert(jpeg.begin() + 2, exif.begin(), exif.end());
  auto decoded = codec.decode(jpeg);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(std::pair(decoded->width, decoded->height), std::pair(9, 17));
}

TEST(GdkPixbufImageCodec, ClampsJpegQualityToZeroToOne) {
  GdkPixbufImageCodec codec;
  Image image = pattern(64, 64, false);
  auto at = [&](double quality) { return codec.encodeJPEG(image, quality).value(); };
  EXPECT_LT(at(0).size(), at(1).size());
  EXPECT_EQ(at(-3), at(0));
  EXPECT_EQ(at(85), at(1));
  EXPECT_EQ(at(std::numeric_limits<double>::quiet_NaN()), at(1));
}

// Nothing it is handed may crash it or, as a FIFO nobody writes to would,
// block it forever.
// Opaque, the WebP saver writes a "VP8 " chunk; translucent, "VP8X" first.
std::vector<uint8_t> webP(int width, int height, uint32_t rgba) {
  GdkPixbuf* pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, (rgba & 0xff) != 0xff, 8, width, height);
  gdk_pixbuf_fill(pixbuf, rgba);
  gchar* buffer = nullptr;
  gsize size = 0;
  EXPECT_TRUE(gdk_pixbuf_save_to_buffer(pixbuf, &buffer, &size, "webp", nullptr, nullptr));
  std::vector<uint8_t> bytes(buffer, buffer + size);
  g_free(buffer);
  g_object_unref(pixbuf);
  return bytes;
}

TEST(GdkPixbufImageCodec, ReadsLossyAndExtendedWebPUnderThePixelLimit) {
  ASSERT_TRUE(GdkPixbufImageCodec::canRead("webp")) << "webp-pixbuf-loader is not installed";
  for (auto [colour, chunk] : {std::pair{0x2080c0ffu, "VP8 "}, {0x2080c080u, "VP8X"}}) {
    std::vector<uint8_t> bytes = webP(3, 2, colour);
    ASSERT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 16), chunk);
    auto image = GdkPixbufImageCodec(6).decode(bytes);
    ASSERT_TRUE(image) << chunk;
    EXPECT_EQ(image->width * 10 + image->height, 32);
    EXPECT_NEAR((*image->rgba)[3], colour & 0xff, 2);
    EXPECT_FALSE(GdkPixbufImageCodec(5).decode(bytes)) << chunk;
    EXPECT_FALSE(GdkPixbufImageCodec().decode(std::span(bytes).first(29))) << "header cut short";
  }
}

TEST(GdkPixbufImageCodec, RefusesWhatIsNotAPictureItReadsOrPixelsThatDoNotMatchTheSize) {
  GdkPixbufImageCodec codec;
  std::vector<uint8_t> png = codec.encodePNG(pattern(4, 4, false)).value();
  // 1x1, 24 bits: a valid BMP, a format gdk-pixbuf reads but we do not.
  std::vector<uint8_t> bmp = {'B', 'M', 58, 0, 0, 0, 0, 0, 0,  0, 54, 0, 0, 0, 40, 0, 0,   0, 1, 0,
                              0,   0,   1,  0, 0, 0, 1, 0, 24, 0, 0,  0, 0, 0, 4,  0, 0,   0, 0, 0,
                              0,   0,   0,  0, 0, 0, 0, 0, 0,  0, 0,  0, 0, 0, 0,  0, 255, 0};
  std::string svg = R"(<svg xmlns="http://www.w3.org/2000/svg" width="1" height="1"/>)";
  for (const std::vector<uint8_t>& bytes : {std::vector<uint8_t>{},
                                            {'h', 'e', 'l', 'l', 'o'},
                                            {png.begin(), png.begin() + 8},
                                            {png.begin(), png.begin() + 20},
                                            bmp,
                                            {svg.begin(), svg.end()}})
    EXPECT_FALSE(codec.decode(bytes)) << ::testing::PrintToString(bytes);

  testing::TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory.path / "fifo").c_str(), 0600), 0);
  for (const char* name : {"missing.png", "fifo", "."})
    EXPECT_FALSE(codec.decodeFile(directory.path / name)) << name;

  Image shortRows = pattern(8, 8, false);
  shortRows.height = 9;
  for (const Image& image : {shortRows, Image{.width = 8, .height = 8, .rgba = nullptr}, Image{}}) {
    EXPECT_FALSE(codec.encodePNG(image));
    EXPECT_FALSE(codec.encodeJPEG(image, 1));
  }
}

TEST(GdkPixbufImageCodec, RefusesPicturesOverItsPixelLimit) {
  GdkPixbufImageCodec encoder;
  testing::TemporaryDirectory directory;
  Image image = pattern(40, 25, false);  // 1000 pixels
  std::vector<uint8_t> png = encoder.encodePNG(image).value();
  std::vector<uint8_t> jpeg = encoder.encodeJPEG(image, 0.8).value();
  std::ofstream(directory.path / "picture.png", std::ios::binary)
      .write(reinterpret_cast<const char*>(png.data()), std::streamsize(png.size()));
  for (const auto& bytes : {png, jpeg}) {
    EXPECT_TRUE(GdkPixbufImageCodec(1000).decode(bytes));
    EXPECT_FALSE(GdkPixbufImageCodec(999).decode(bytes));
  }
  EXPECT_FALSE(GdkPixbufImageCodec(999).decodeFile(directory.path / "picture.png"));
  EXPECT_FALSE(GdkPixbufImageCodec(999).encodePNG(image));
}

}  // namespace
}  // namespace vicinix
