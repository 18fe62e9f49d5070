#include "campaigns/image_downloader.h"

#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

class ImageDownloaderTest : public ::testing::Test {
 protected:
  FakeSdk env;
  ImageDownloader& downloader = ImageDownloader::shared();
  std::vector<std::optional<Image>> completions;

  void SetUp() override {
    env.http->setLatency(milliseconds(10));
    servePicture();
  }
  void servePicture() {
    auto bytes = FakeImageCodec::pictureBytes(3, 2);
    env.http->replyWith(std::string(bytes.begin(), bytes.end()));
  }
  void download(const std::string& path, const std::string& name) {
    downloader.downloadImage(path, name, [this](auto image) { completions.push_back(image); });
  }
};

TEST_F(ImageDownloaderTest, OneFetchPerNameAtATime) {
  download("https://img.test/a.png", "a.png");
  download("https://img.test/a.png", "a.png");
  ASSERT_EQ(completions.size(), 1u);  // the second one, at once and empty
  EXPECT_FALSE(completions[0]);
  env.time->runAll();
  ASSERT_EQ(completions.size(), 2u);
  EXPECT_EQ(completions[1]->width, 3);
  EXPECT_EQ(env.http->requests().size(), 1u);
  EXPECT_EQ(env.http->requests()[0].method, "GET");
  // Stored at the best JPEG quality the encoder has.
  EXPECT_EQ(downloader.image("a.png")->height, 2);
}

TEST_F(ImageDownloaderTest, ACachedNameCompletesAtOnceAndAgainAfterTheRefresh) {
  download("https://img.test/a.png", "a.png");
  env.time->runAll();
  completions.clear();
  download("https://img.test/a.png", "a.png");
  EXPECT_EQ(completions.size(), 1u);
  env.time->runAll();
  EXPECT_EQ(completions.size(), 2u);
  EXPECT_EQ(env.http->requests().size(), 2u);
}

TEST_F(ImageDownloaderTest, AFailedNameIsBlockedForTheProcess) {
  env.sdk().setDebugging(true);
  env.http->setResponder([](const HttpRequest&) { return HttpResponse{"", 404, "Not Found"}; });
  download("https://img.test/missing.png", "missing.png");
  env.time->runAll();
  ASSERT_EQ(completions.size(), 1u);
  EXPECT_FALSE(completions[0]);
  EXPECT_EQ(env.log->debugLines().back(), "Error: no image downloaded missing.png");

  // A transfer error: no completion at all, and blocked all the same.
  env.http->setResponder([](const HttpRequest&) { return HttpResponse{"timed out", 0, {}}; });
  download("https://img.test/other.png", "other.png");
  env.time->runAll();
  EXPECT_EQ(completions.size(), 1u);

  servePicture();
  download("https://img.test/missing.png", "missing.png");
  download("https://img.test/other.png", "other.png");
  env.time->runAll();
  EXPECT_EQ(completions.size(), 3u);
  EXPECT_EQ(env.http->requests().size(), 2u);
}

TEST_F(ImageDownloaderTest, NothingIsFetchedOrWrittenForAnEmptyPathOrAnUnsafeName) {
  for (const char* name : {"", ".", "..", "../escape.png", "a/b.png"}) {
    download("https://img.test/x.png", name);
  }
  download("", "empty.png");
  env.time->runAll();
  EXPECT_EQ(completions.size(), 6u);
  EXPECT_TRUE(env.http->requests().empty());
  EXPECT_FALSE(std::filesystem::exists(env.appData() / "Library/Vicinix/escape.png"));
}

TEST_F(ImageDownloaderTest, FallsBackToPNGWhenJPEGCannotBeWritten) {
  env.images->setJPEGFails(true);
  download("https://img.test/a.png", "a.png");
  env.time->runAll();
  EXPECT_TRUE(downloader.image("a.png"));
}

}  // namespace
}  // namespace vicinix
