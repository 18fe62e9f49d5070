#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <stdexcept>
#include <string>

#include "data/model/campaign_factory.h"
#include "data/model/database.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

constexpr int kBlocks = 10;
constexpr int kAttributes = 3;

// A campaign as the backend sends one: ten blocks of three attributes.
std::string campaignJson(long long n) {
  std::string id = "c" + std::to_string(n);
  std::string json = R"({"id":")" + id + R"(","type":"PAGE","isActive":true,"cooldown":600,)" +
                     R"("maximumNotificationsPerUser":3,"notificationTitle":"Autumn sale",)" +
                     R"("notificationText":"Everything 20 % off today","listTitle":"Sale",)" +
                     R"("listText":"Come in","detailUrl":"","inAppEvent":"","listImage":"",)" +
                     R"("notificationImage":"","blocks":[)";
  for (int b = 0; b < kBlocks; ++b) {
    std::string block = id + "b" + std::to_string(b);
    json += std::string(b ? "," : "") + R"({"id":")" + block + R"(","type":"TEXT","attributes":[)";
    for (int a = 0; a < kAttributes; ++a) {
      json += std::string(a ? "," : "") + R"({"id":")" + block + "a" + std::to_string(a) +
              R"(","key":"text","value":"Paragraph of campaign copy, a sentence or two long."})";
    }
    json += "]}";
  }
  return json + "]}";
}

void BM_CampaignImport(benchmark::State& state) {
  FakeSdk env;
  CampaignFactory& factory = CampaignFactory::shared();
  long long n = 0;
  for (auto _ : state) {
    state.PauseTiming();
    JsonValue json = JsonValue::parse(campaignJson(n++));
    state.ResumeTiming();
    factory.parse(json);
    env.time->runUntilIdle();  // the blocks are imported on the main queue
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CampaignImport)->UseRealTime();

void check(int result, sqlite3* handle) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
    throw std::runtime_error(sqlite3_errmsg(handle));
  }
}

struct Statement {
  Statement(sqlite3* handle, const char* sql) : handle(handle) {
    check(sqlite3_prepare_v2(handle, sql, -1, &statement, nullptr), handle);
  }
  ~Statement() { sqlite3_finalize(statement); }
  void run() {
    check(sqlite3_step(statement), handle);
    sqlite3_reset(statement);
  }
  void text(int index, const std::string& value) {
    sqlite3_bind_text(statement, index, value.c_str(), -1, SQLITE_TRANSIENT);
  }
  sqlite3* handle;
  sqlite3_stmt* statement = nullptr;
};

// The floor: the same 41 rows per campaign through the C API, prepared, in
// one transaction, on the same tables and pragmas.
void BM_RawSqliteCampaignInsert(benchmark::State& state) {
  FakeSdk env;
  const std::string path = (env.appData() / "raw.db").string();
  Database::open({.fileURL = path}).reset();
  sqlite3* handle = nullptr;
  check(sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr), handle);
  check(sqlite3_exec(handle, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL", nullptr,
                     nullptr, nullptr),
        handle);
  {
    Statement begin(handle, "BEGIN"), commit(handle, "COMMIT");
    Statement campaign(handle,
                       "INSERT INTO campaign (id, type, notification_title, notification_text, "
                       "notification_image_path, detail_url_path, list_image_path, list_title, "
                       "list_text, is_active, in_app_event, cooldown, "
                       "maximum_notifications_per_user, created, updated, notification_count) "
                       "VALUES (?1, 'PAGE', 'Autumn sale', 'Everything 20 % off today', '', '', "
                       "'', 'Sale', 'Come in', 1, '', 600, 3, 0, 0, 0)");
    Statement block(
        handle, "INSERT INTO block (id, type, sort_index, campaign) VALUES (?1, 'TEXT', ?2, ?3)");
    Statement attribute(
        handle, R"(INSERT INTO attribute (id, "key", value, sort_index, block) VALUES )"
                R"((?1, 'text', 'Paragraph of campaign copy, a sentence or two long.', ?2, ?3))");
    long long n = 0;
    for (auto _ : state) {
      std::string id = "c" + std::to_string(n++);
      begin.run();
      campaign.text(1, id);
      campaign.run();
      for (int b = 0; b < kBlocks; ++b) {
        std::string blockId = id + "b" + std::to_string(b);
        block.text(1, blockId);
        sqlite3_bind_int(block.statement, 2, b + 1);
        block.text(3, id);
        block.run();
        for (int a = 0; a < kAttributes; ++a) {
          attribute.text(1, blockId + "a" + std::to_string(a));
          sqlite3_bind_int(attribute.statement, 2, a);
          attribute.text(3, blockId);
          attribute.run();
        }
      }
      commit.run();
    }
  }
  sqlite3_close(handle);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RawSqliteCampaignInsert)->UseRealTime();

// 10,000 stored campaigns, half of them notified: what a refresh and a burst
// of sightings evaluate.
class StoredCampaigns : public benchmark::Fixture {
 public:
  void SetUp(benchmark::State&) override {
    env = std::make_unique<FakeSdk>();
    Database& database = *CampaignFactory::shared().realm();
    database.write([&] {
      for (int n = 0; n < 10000; ++n) {
        auto& insert = database.statement(
            "INSERT INTO campaign (id, type, notification_title, notification_text, "
            "notification_image_path, detail_url_path, list_image_path, list_title, list_text, "
            "is_active, in_app_event, cooldown, maximum_notifications_per_user, created, updated, "
            "notification_sent, notification_count) "
            "VALUES (?1, 'PAGE', '', '', '', '', '', '', '', 1, '', 600, 3, 0, ?2, ?3, ?4)");
        insert.bind(1, "c" + std::to_string(n));
        insert.bind(2, static_cast<int64_t>(n) * 1000000);
        if (n % 2) insert.bind(3, static_cast<int64_t>(n) * 1000000);
        insert.bind(4, n % 5);
        insert.exec();
      }
    });
    campaigns = *CampaignFactory::shared().allCampaigns();
  }
  void TearDown(benchmark::State&) override {
    campaigns.clear();
    env.reset();
  }

  std::unique_ptr<FakeSdk> env;
  std::vector<Campaign> campaigns;
};

BENCHMARK_F(StoredCampaigns, ShouldNotify10000)(benchmark::State& state) {
  for (auto _ : state) {
    int eligible = 0;
    for (const Campaign& campaign : campaigns) eligible += campaign.shouldNotify();
    benchmark::DoNotOptimize(eligible);
  }
  state.SetItemsProcessed(state.iterations() * campaigns.size());
}

BENCHMARK_F(StoredCampaigns, NeedsUpdate10000)(benchmark::State& state) {
  for (auto _ : state) {
    int due = 0;
    for (const Campaign& campaign : campaigns) due += campaign.needsUpdate();
    benchmark::DoNotOptimize(due);
  }
  state.SetItemsProcessed(state.iterations() * campaigns.size());
}

// What a refresh really pays: reading the store, then the decision.
BENCHMARK_F(StoredCampaigns, ReadAndSelectDue10000)(benchmark::State& state) {
  for (auto _ : state) {
    auto all = CampaignFactory::shared().allCampaigns();
    int due = 0;
    for (const Campaign& campaign : *all) due += campaign.needsUpdate();
    benchmark::DoNotOptimize(due);
  }
}

}  // namespace
}  // namespace vicinix
