#include <benchmark/benchmark.h>

#include <QWidget>
#include <cstdlib>
#include <fstream>

#include "campaigns/image_downloader.h"
#include "data/model/attribute_table.h"
#include "data/model/block_factory.h"
#include "data/model/block_table.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/gdk_pixbuf_image_codec.h"
#include "qt_bench_application.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/vicinix_page_view_controller.h"

namespace vicinix {
namespace {

using bench::ensureApplication;

// A 640 x 320 photo-sized JPEG, as campaign pictures are cached.
std::vector<uint8_t> pictureJpeg() {
  auto pixels = std::make_shared<std::vector<uint8_t>>(640 * 320 * 4);
  for (size_t i = 0; i < pixels->size(); ++i) (*pixels)[i] = uint8_t(i * 7 % 251);
  return *GdkPixbufImageCodec().encodeJPEG({640, 320, pixels}, 0.8);
}

// Real picture decoding, as a host has it.
void useRealPictures(Platform& platform) {
  platform.images = std::make_shared<GdkPixbufImageCodec>();
}

// A long campaign page: a title, then five rounds of heading, two Markdown
// paragraphs, a list, a cached picture and a button; 30 blocks in all, at
// the default theme's spacing and line height.
void storeThirtyBlocks() {
  Database& database = *BlockFactory::shared().realm();
  ImageDownloader& downloader = ImageDownloader::shared();
  downloader.createImageDirectoryIfNeeded();
  int64_t index = 0;
  auto add = [&](const std::string& type, std::vector<std::pair<std::string, std::string>> attrs) {
    std::string id = "b" + std::to_string(index);
    auto error = database.write([&] {
      BlockTable(database).addOrUpdate({id, type, index, "c1"});
      for (size_t i = 0; i < attrs.size(); ++i) {
        Attribute attribute{id + "a" + std::to_string(i), attrs[i].first, attrs[i].second,
                            int64_t(i), id};
        AttributeTable(database).addOrUpdate(attribute);
        if (attribute.key == "src") {
          auto bytes = pictureJpeg();
          std::ofstream(downloader.imagesDirectory() / attribute.imageName(), std::ios::binary)
              .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        }
      }
    });
    if (error) std::abort();
    ++index;
  };
  add("TITLE", {{"text", "Podzimní výprodej v centru"}});
  for (int round = 0; round < 5; ++round) {
    add("HEADING", {{"text", "Co nabízíme tento týden"}});
    add("PARAGRAPH", {{"text",
                       "Jen tento týden máte **20 % slevu** na *vybrané* zboží. Stačí "
                       "ukázat kód `PODZIM20` u pokladny nebo navštívit "
                       "[e-shop](https://shop.example/podzim)."}});
    add("PARAGRAPH", {{"text",
                       "Čerstvé pečivo každé ráno, __domácí__ marmeládu a _sezónní_ "
                       "ovoce z okolních farem. Otevřeno denně od 7 do 19 hodin."}});
    add("UNORDERED_LIST", {{"text", "Platí do neděle"},
                           {"text", "Jeden kus na zákazníka"},
                           {"text", "Nelze kombinovat s **jinými** slevami"}});
    add("IMAGE", {{"src", "https://img.example/p" + std::to_string(round) + ".png"}});
    add("BUTTON", {{"text", "Otevřít e-shop"}, {"link", "https://shop.example"}});
  }
}

// Loading the page draws it: blocks read from the store, pictures decoded
// from the cache, every label measured with Qt's font metrics, every widget
// made and placed.
void BM_QtPageLayout30Blocks(benchmark::State& state) {
  ensureApplication();
  auto kit = std::make_shared<QtToolkit>(Size{390, 844});
  FakeSdk env([&](Platform& platform) {
    platform.toolkit = kit;
    useRealPictures(platform);
  });
  storeThirtyBlocks();
  double height = 0;
  for (auto _ : state) {
    auto page = std::make_shared<VicinixPageViewController>();
    page->campaign = Campaign{.id = "c1", .type = "PAGE"};
    page->view();
    height = page->scrollView->contentSize().height;
    benchmark::DoNotOptimize(height);
  }
  state.counters["pageHeight"] = height;
}
BENCHMARK(BM_QtPageLayout30Blocks)->Unit(benchmark::kMillisecond);

// The same page drawn into pixels once laid out, as a window shows it.
void BM_QtPagePaint30Blocks(benchmark::State& state) {
  ensureApplication();
  auto kit = std::make_shared<QtToolkit>(Size{390, 844});
  FakeSdk env([&](Platform& platform) {
    platform.toolkit = kit;
    useRealPictures(platform);
  });
  storeThirtyBlocks();
  auto page = std::make_shared<VicinixPageViewController>();
  page->campaign = Campaign{.id = "c1", .type = "PAGE"};
  QWidget* widget = QtViewCore::of(*page->view())->widget();
  widget->show();
  for (auto _ : state) benchmark::DoNotOptimize(widget->grab());
}
BENCHMARK(BM_QtPagePaint30Blocks)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vicinix
