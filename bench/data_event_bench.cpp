#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <random>
#include <stdexcept>

#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

void check(int result, sqlite3* handle) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
    throw std::runtime_error(sqlite3_errmsg(handle));
  }
}

// A notification event is the widest row: campaign and beacon filled in.
void BM_EventFactoryCreate(benchmark::State& state) {
  FakeSdk env;
  EventFactory& factory = EventFactory::shared();
  if (factory.realm() == nullptr) {
    state.SkipWithError("the database did not open");
    return;
  }
  const Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  const std::optional<std::string> campaign = "c42";
  for (auto _ : state) factory.create(EventType::notification, campaign, &beacon);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EventFactoryCreate)->UseRealTime();

// The floor: the same row through the C API, one prepared BEGIN/INSERT/COMMIT
// per event, on the same table layout and pragmas. The ids are random UUIDs
// like the events' own: sequential keys would only ever touch the last page of
// the id index and flatter the floor by about a third.
void BM_RawSqliteInsert(benchmark::State& state) {
  FakeSdk env;
  const std::string path = (env.appData() / "raw.db").string();
  Database::open({.fileURL = path}).reset();  // lays out the tables

  sqlite3* handle = nullptr;
  check(sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr), handle);
  sqlite3_busy_timeout(handle, 5000);
  check(sqlite3_exec(handle, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL", nullptr,
                     nullptr, nullptr),
        handle);
  sqlite3_stmt* begin = nullptr;
  sqlite3_stmt* insert = nullptr;
  sqlite3_stmt* commit = nullptr;
  check(sqlite3_prepare_v2(handle, "BEGIN", -1, &begin, nullptr), handle);
  check(sqlite3_prepare_v2(handle, "COMMIT", -1, &commit, nullptr), handle);
  check(sqlite3_prepare_v2(handle,
                           "INSERT INTO event (id, type, created, timestamp, campaign_id, "
                           "beacon_namespace, beacon_instance, has_bluetooth_turned_on, "
                           "has_internet_connection, has_location_permission, "
                           "has_notification_permission) "
                           "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)",
                           -1, &insert, nullptr),
        handle);

  std::mt19937_64 random(42);
  long long next = 0;
  char id[64];
  for (auto _ : state) {
    uint64_t high = random();
    uint64_t low = random();
    std::snprintf(id, sizeof id, "%08llX-%04llX-4%03llX-%04llX-%012llX",
                  static_cast<unsigned long long>(high >> 32),
                  static_cast<unsigned long long>((high >> 16) & 0xFFFF),
                  static_cast<unsigned long long>(high & 0xFFF),
                  static_cast<unsigned long long>(0x8000 | (low >> 50)),
                  static_cast<unsigned long long>(low & 0xFFFFFFFFFFFF));
    ++next;
    check(sqlite3_step(begin), handle);
    sqlite3_reset(begin);
    sqlite3_bind_text(insert, 1, id, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 2, "PULL_NOTIFICATION", -1, SQLITE_STATIC);
    sqlite3_bind_int64(insert, 3, 1709280902517000 + next);
    sqlite3_bind_text(insert, 4, "2024-03-01T09:15:02.517+0100", -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 5, "c42", -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 6, "edd1ebeac04e5defa017", -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 7, "0123456789ab", -1, SQLITE_STATIC);
    for (int column = 8; column <= 11; ++column) sqlite3_bind_int(insert, column, 0);
    check(sqlite3_step(insert), handle);
    sqlite3_reset(insert);
    check(sqlite3_step(commit), handle);
    sqlite3_reset(commit);
  }
  state.SetItemsProcessed(state.iterations());

  sqlite3_finalize(begin);
  sqlite3_finalize(insert);
  sqlite3_finalize(commit);
  sqlite3_close(handle);
}
BENCHMARK(BM_RawSqliteInsert)->UseRealTime();

void BM_EventTableAll(benchmark::State& state) {
  FakeSdk env;
  EventFactory& factory = EventFactory::shared();
  if (factory.realm() == nullptr) {
    state.SkipWithError("the database did not open");
    return;
  }
  const Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  for (int64_t i = 0; i < state.range(0); ++i) {
    factory.create(EventType::notification, "c42", &beacon);
  }
  EventTable events(*factory.realm());
  for (auto _ : state) benchmark::DoNotOptimize(events.all());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EventTableAll)->Arg(1000);

}  // namespace
}  // namespace vicinix
