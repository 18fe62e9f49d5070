#include <benchmark/benchmark.h>
#include <malloc.h>

#include <QListView>
#include <QScrollBar>

#include "qt_bench_application.h"
#include "ui/qt/qt_table_view.h"
#include "ui/qt/qt_toolkit.h"

namespace vicinix {
namespace {

using bench::ensureApplication;

constexpr int kRows = 10000;
constexpr Size kScreen{390, 844};

// 10,000 campaign rows as a list shows them: 80 points high, a 200 x 200
// picture shown at 64 x 64, a title and a two-line subtitle. Counts the
// rows it is asked for.
class CampaignRows final : public TableViewDataSource {
 public:
  explicit CampaignRows(const FontBook& fonts) : fonts_(fonts) {
    auto pixels = std::make_shared<std::vector<uint8_t>>(200 * 200 * 4);
    for (size_t i = 0; i < pixels->size(); ++i) (*pixels)[i] = uint8_t(i * 7 % 251);
    picture_ = Image{200, 200, std::move(pixels)};
  }

  int64_t asked = 0;

  int numberOfRows() override { return kRows; }
  double heightForRow(int) override { return 80; }
  TableCell cellForRow(int row, double width) override {
    ++asked;
    Font title = *fonts_.withBold(fonts_.preferredFont(TextStyle::body));
    return TableCell{
        .title = {"Podzimní výprodej " + std::to_string(row),
                  title,
                  {0, 0, 0, 1},
                  Rect{88, 12, width - 104, 22},
                  1},
        .subtitle = {"Jen tento týden máte 20 % slevu na vybrané zboží v centru a na e-shopu.",
                     fonts_.preferredFont(TextStyle::subheadline),
                     {0.4, 0.4, 0.4, 1},
                     Rect{88, 36, width - 104, 34},
                     2},
        .image = picture_,
        .imageFrame = {12, 8, 64, 64}};
  }
  void didSelectRow(int) override {}

 private:
  const FontBook& fonts_;
  Image picture_;
};

std::shared_ptr<QtTableView> openTable(QtToolkit& kit, CampaignRows& rows) {
  auto table = std::static_pointer_cast<QtTableView>(kit.makeTableView());
  table->setFrame({0, 0, kScreen.width, kScreen.height});
  table->setBackgroundColor({1, 1, 1, 1});
  table->setSeparatorInsets(88, 0);
  table->setDataSource(&rows);
  table->listView()->show();
  return table;
}

// From nothing to the first frame on screen: the table made, the count and
// heights read, the rows that show prepared and painted.
void BM_QtTableFirstPaint10000Rows(benchmark::State& state) {
  ensureApplication();
  QtToolkit kit(kScreen);
  CampaignRows rows(kit.fonts());
  for (auto _ : state) {
    auto table = openTable(kit, rows);
    benchmark::DoNotOptimize(table->listView()->grab());
  }
  state.counters["rowsAsked"] = benchmark::Counter(double(rows.asked) / double(state.iterations()));
}
BENCHMARK(BM_QtTableFirstPaint10000Rows)->Unit(benchmark::kMillisecond);

// Scrolling from the first row to the last a screen at a time, so every
// frame paints rows never seen before: the worst case of a fast fling.
void BM_QtTableScrollFrame10000Rows(benchmark::State& state) {
  ensureApplication();
  QtToolkit kit(kScreen);
  CampaignRows rows(kit.fonts());
  auto table = openTable(kit, rows);
  QScrollBar* bar = table->listView()->verticalScrollBar();
  table->listView()->grab();
  rows.asked = 0;
  int frames = 0;
  for (auto _ : state) {
    bar->setValue(bar->value() >= bar->maximum() ? 0 : bar->value() + int(kScreen.height));
    benchmark::DoNotOptimize(table->listView()->grab());
    ++frames;
  }
  state.counters["rowsAsked/frame"] = benchmark::Counter(double(rows.asked) / frames);
}
// Just enough frames to go through the whole list once.
BENCHMARK(BM_QtTableScrollFrame10000Rows)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(kRows * 80 / int(kScreen.height) + 1);

// The heap an open, painted table of 10,000 rows holds.
void BM_QtTableHeap10000Rows(benchmark::State& state) {
  ensureApplication();
  QtToolkit kit(kScreen);
  CampaignRows rows(kit.fonts());
  double bytes = 0;
  for (auto _ : state) {
    size_t before = mallinfo2().uordblks;
    auto table = openTable(kit, rows);
    table->listView()->grab();
    bytes += double(mallinfo2().uordblks - before);
    benchmark::DoNotOptimize(table.get());
  }
  state.counters["heapBytes"] = benchmark::Counter(bytes / double(state.iterations()));
}
BENCHMARK(BM_QtTableHeap10000Rows)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
}  // namespace vicinix
