#include <gtest/gtest.h>

#include <filesystem>

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

// A CDN in front of the pictures: the campaign's URL is only a redirect.
std::string cdn(const std::string& request) {
  const std::string target = LoopbackHttpServer::targetOf(request);
  if (target == "/campaign/picture") {
    return LoopbackHttpServer::reply(302, "", "Location: /edge/7/picture.webp\r\n");
  }
  if (target == "/edge/7/picture.webp") {
    return LoopbackHttpServer::reply(200, kWebP, "Content-Type: image/webp\r\n");
  }
  if (target == "/campaign/local") {
    return LoopbackHttpServer::reply(302, "", "Location: file:///etc/passwd\r\n");
  }
  return LoopbackHttpServer::reply(404, "");
}

TEST(ImageDownloaderIntegration, FetchesAWebPPictureBehindARedirectButNeverAFileUrl) {
  LoopbackHttpServer server(cdn);
  test::LinuxSdk env(server.url() + "/graphql");
  auto& downloader = ImageDownloader::shared();

  std::optional<Image> delivered;
  int completions = 0;
  downloader.downloadImage(server.url() + "/campaign/picture", "picture.jpg",
                           [&](std::optional<Image> image) {
                             ++completions;
                             delivered = std::move(image);
                           });
  ASSERT_TRUE(env.runUntil([&] { return completions == 1; }));
  ASSERT_TRUE(delivered);
  EXPECT_EQ(delivered->width, 3);
  EXPECT_EQ(delivered->height, 2);
  EXPECT_NEAR((*delivered->rgba)[2], 192, 8);
  EXPECT_TRUE(downloader.image("picture.jpg")) << "stored in the cache";

  int localCompletions = 0;
  downloader.downloadImage(server.url() + "/campaign/local", "passwd.jpg",
                           [&](std::optional<Image>) { ++localCompletions; });
  ASSERT_TRUE(env.runUntil([&] { return server.received().size() == 3; }));
  // The refused redirect fails the transfer: no completion, and the name stays blocked.
  env.runUntil([] { return false; }, std::chrono::milliseconds(300));
  EXPECT_EQ(localCompletions, 0);
  EXPECT_FALSE(std::filesystem::exists(downloader.imagesDirectory() / "passwd.jpg"));

  for (const std::string& request : server.received()) {
    EXPECT_NE(request.find("\r\nUser-Agent: vicinix/1\r\n"), std::string::npos) << request;
  }
}

}  // namespace
}  // namespace vicinix
