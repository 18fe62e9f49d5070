#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "campaigns/image_downloader.h"
#include "data/model/attribute_table.h"
#include "data/model/block_factory.h"
#include "data/model/block_table.h"
#include "platform/fake/fake_sdk.h"
#include "ui/fake/fake_toolkit.h"
#include "ui/vicinix_page_view_controller.h"

namespace vicinix::test {

// A fake SDK with a toolkit installed (the fake one unless told otherwise),
// and campaign pages written straight into the store so a test controls
// every sort index.
template <class Kit>
class ScreenTestWith : public ::testing::Test {
 protected:
  struct Attr {
    std::string key;
    std::string value;
    int64_t sortIndex = -1;  // -1: the attribute's place in the list
  };

  std::shared_ptr<Kit> kit = std::make_shared<Kit>();
  FakeSdk env{[this](Platform& platform) { platform.toolkit = kit; }};

  // Adds a block to a campaign; returns its attributes as stored.
  std::vector<Attribute> addBlock(const std::string& type, int64_t sortIndex,
                                  const std::vector<Attr>& attributes = {},
                                  const std::string& campaignId = "c1") {
    Database& database = *BlockFactory::shared().realm();
    std::string blockId = "b" + std::to_string(++blocks_);
    std::vector<Attribute> stored;
    auto error = database.write([&] {
      BlockTable(database).addOrUpdate({blockId, type, sortIndex, campaignId});
      for (size_t i = 0; i < attributes.size(); ++i) {
        const Attr& a = attributes[i];
        Attribute attribute{blockId + "a" + std::to_string(i), a.key, a.value,
                            a.sortIndex < 0 ? static_cast<int64_t>(i) : a.sortIndex, blockId};
        AttributeTable(database).addOrUpdate(attribute);
        stored.push_back(attribute);
      }
    });
    EXPECT_FALSE(error) << *error;
    return stored;
  }

  // Puts a picture of the given size into the cache under the attribute's name.
  void cachePicture(const Attribute& source, int width, int height) {
    ImageDownloader& downloader = ImageDownloader::shared();
    downloader.createImageDirectoryIfNeeded();
    auto bytes = FakeImageCodec::pictureBytes(width, height);
    std::ofstream(downloader.imagesDirectory() / source.imageName(), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

  // The page of a campaign, drawn; nothing: a page without a campaign.
  std::shared_ptr<VicinixPageViewController> loadPage(
      std::optional<std::string> campaignId = "c1") {
    auto page = std::make_shared<VicinixPageViewController>();
    if (campaignId) page->campaign = Campaign{.id = *campaignId, .type = "PAGE"};
    page->view();
    return page;
  }

  static void expectFrame(const Rect& actual, const Rect& expected, const std::string& what) {
    EXPECT_DOUBLE_EQ(actual.x, expected.x) << what;
    EXPECT_DOUBLE_EQ(actual.y, expected.y) << what;
    EXPECT_DOUBLE_EQ(actual.width, expected.width) << what;
    EXPECT_DOUBLE_EQ(actual.height, expected.height) << what;
  }

  // The fake views under `root` of one kind, in drawing order.
  template <class T>
  static std::vector<T*> all(const std::shared_ptr<View>& root) {
    return FakeNode::of(*root).descendantsOfType<T>();
  }
  static size_t labelsWithText(const std::shared_ptr<View>& root, const std::string& text) {
    return std::ranges::count_if(all<FakeLabel>(root),
                                 [&](const FakeLabel* label) { return label->text == text; });
  }

 private:
  int blocks_ = 0;
};

using ScreenTest = ScreenTestWith<FakeToolkit>;

}  // namespace vicinix::test
