#include <gtest/gtest.h>

#include "campaigns/image_downloader.h"
#include "support/linux_sdk.h"
#include "support/loopback_http_server.h"

namespace vicinix {
namespace {

using test::LoopbackHttpServer;

// A 3 x 2 lossy WebP of one colour, rgb(32, 128, 192).
const std::string kWebP(
    "\x52\x49\x46\x46\x38\x00\x00\x00\x57\x45\x42\x50\x56\x50\x38\x20\x2c\x00\x00\x00\xd0\x01"
    "\x00\x9d\x01\x2a\x03\x00\x02\x00\x02\x00\x34\x25\xa0\x02\x74\xba\x01\xf8\x00\x03\xb0\x00"
    "\xfe\xe9\x69\x1f\xf9\x67\xcf\xe1\xb3\xa9\xcf\xfe\x6c\x0a\xe6\xb9\xf9\xa8\x00\x00",
    64);

TEST(ImageDownloaderIntegration, FetchesAWebPPictureBehindACdnRedirect) {
  LoopbackHttpServer server([](const std::string& request) {
    if (LoopbackHttpServer::targetOf(request) == "/campaign/picture") {
      return LoopbackHttpServer::reply(302, "", "Location: /edge/7/picture.webp\r\n");
    }
    return LoopbackHttpServer::reply(200, kWebP, "Content-Type: image/webp\r\n");
  });
  test::LinuxSdk env(server.url() + "/graphql");
  std::optional<Image> delivered;
  ImageDownloader::shared().downloadImage(server.url() + "/campaign/picture", "picture.jpg",
                                          [&](std::optional<Image> image) { delivered = image; });
  ASSERT_TRUE(env.runUntil([&] { return delivered.has_value(); }));
  EXPECT_EQ(delivered->width, 3);
  EXPECT_NEAR((*delivered->rgba)[2], 192, 8);
  EXPECT_TRUE(ImageDownloader::shared().image("picture.jpg")) << "stored in the cache";
}

}  // namespace
}  // namespace vicinix
