#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <memory>
#include <string>

#include "data/model/campaign_factory.h"
#include "data/model/campaign_table.h"
#include "platform/fake/fake_sdk.h"
#include "ui/fake/fake_toolkit.h"
#include "ui/vicinix_list_view_controller.h"
#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {
namespace {

constexpr int kCampaigns = 10000;

// A store of 10,000 campaigns with list content and realistic texts, one in
// ten of them an in-app event the list leaves out.
struct StoredCampaigns {
  std::shared_ptr<FakeToolkit> kit = std::make_shared<FakeToolkit>();
  FakeSdk env{[this](Platform& platform) { platform.toolkit = kit; }};

  StoredCampaigns() {
    Database& database = *CampaignFactory::shared().realm();
    database.write([&] {
      CampaignTable table(database);
      for (int n = 0; n < kCampaigns; ++n) {
        const std::string id = "campaign-" + std::to_string(n);
        table.addOrUpdate(Campaign{
            .id = id,
            .notificationTitle = "Autumn sale in the shoe department",
            .notificationText = "Everything 20 % off today, come in and have a look",
            .notificationImagePath = "https://cdn.example.com/images/" + id + "-notification.jpg",
            .type = n % 10 == 9 ? "IN_APP_EVENT" : "PAGE",
            .detailURLPath = "https://shop.example.com/campaigns/" + id,
            .listImagePath = "https://cdn.example.com/images/" + id + "-list.jpg",
            .listTitle = "Autumn sale " + std::to_string(n),
            .listText = "Twenty percent off every pair of shoes this week only",
            .created = FakeSdk::defaultStart() - std::chrono::seconds(n * 7 % kCampaigns),
        });
      }
    });
  }
};

size_t heapInUse() {
  return mallinfo2().uordblks;
}

// The list query alone: the ids of the listed campaigns in order.
void BM_ListQuery(benchmark::State& state) {
  StoredCampaigns store;
  CampaignFactory& factory = CampaignFactory::shared();
  for (auto _ : state) {
    auto results = factory.listCampaigns();
    benchmark::DoNotOptimize(results);
  }
}
BENCHMARK(BM_ListQuery)->Unit(benchmark::kMillisecond);

// What the open list holds, and what reading the rows it shows costs: the
// query and a screenful (8 rows) read on demand, against every listed
// campaign read in full as the list held them before.
void BM_ListOpenLiveResult(benchmark::State& state) {
  StoredCampaigns store;
  CampaignFactory& factory = CampaignFactory::shared();
  size_t held = 0;
  for (auto _ : state) {
    const size_t before = heapInUse();
    auto results = factory.listCampaigns();
    for (size_t row = 0; row < 8; ++row) benchmark::DoNotOptimize(results->at(row));
    held = heapInUse() - before;
  }
  state.counters["heldBytes"] = static_cast<double>(held);
}
BENCHMARK(BM_ListOpenLiveResult)->Unit(benchmark::kMillisecond);

void BM_ListOpenFullObjects(benchmark::State& state) {
  StoredCampaigns store;
  CampaignFactory& factory = CampaignFactory::shared();
  size_t held = 0;
  for (auto _ : state) {
    const size_t before = heapInUse();
    auto all = factory.allCampaigns();
    std::erase_if(*all, [](const Campaign& c) {
      return c.listTitle.empty() || c.listText.empty() || c.listImagePath.empty() ||
             c.type == "IN_APP_EVENT";
    });
    std::ranges::sort(*all,
                      [](const Campaign& a, const Campaign& b) { return a.created > b.created; });
    held = heapInUse() - before;
    benchmark::DoNotOptimize(all);
  }
  state.counters["heldBytes"] = static_cast<double>(held);
}
BENCHMARK(BM_ListOpenFullObjects)->Unit(benchmark::kMillisecond);

// The screen's reload as a host sees it: the query, the rows counted and the
// shown rows laid out by the fake table, pictures looked up in the cache.
void BM_ListScreenReload(benchmark::State& state) {
  StoredCampaigns store;
  auto list = std::make_shared<VicinixListViewController>();
  auto navigation = std::make_shared<VicinixNavigationViewController>(list);
  navigation->view();
  navigation->viewWillAppear(false);
  store.env.time->runAll();  // the picture fetches fail and are not tried again
  for (auto _ : state) list->reloadTableView();
}
BENCHMARK(BM_ListScreenReload)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vicinix
