#include "data/model/database.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

TEST(DatabaseTest, OpensInWalModeWithSchemaVersionZero) {
  FakeSdk env;
  auto database = Database::open({.fileURL = env.appData() / "a.db"});
  ASSERT_NE(database, nullptr);
  auto& connection = database->connection();
  EXPECT_EQ(connection.execAndGet("PRAGMA journal_mode").getString(), "wal");
  EXPECT_EQ(connection.execAndGet("PRAGMA synchronous").getInt(), 1);  // NORMAL
  EXPECT_EQ(connection.execAndGet("PRAGMA user_version").getInt(), 0);
  for (const char* table : {"beacon", "campaign", "block", "attribute", "event"}) {
    EXPECT_TRUE(connection.tableExists(table)) << table;
  }
}

TEST(DatabaseTest, AFailedWriteRollsEverythingBackAndReportsWhy) {
  FakeSdk env;
  auto database = Database::open({.fileURL = env.appData() / "a.db"});
  ASSERT_NE(database, nullptr);
  EventTable events(*database);

  auto error = database->write([&] {
    events.add({.id = "kept?", .type = "APP_STARTED"});
    throw std::runtime_error("disk on fire");
  });
  EXPECT_EQ(error, "disk on fire");
  // A duplicate id fails inside SQLite rather than in the lambda.
  error = database->write([&] {
    events.add({.id = "same", .type = "APP_STARTED"});
    events.add({.id = "same", .type = "APP_STARTED"});
  });
  ASSERT_TRUE(error);
  EXPECT_NE(error->find("UNIQUE"), std::string::npos) << *error;
  EXPECT_EQ(events.count(), 0);

  EXPECT_FALSE(database->write([&] { events.add({.id = "later", .type = "APP_CLOSED"}); }));
  EXPECT_EQ(events.count(), 1);
}

TEST(DatabaseTest, RefusesFilesItCannotOpenOrDoesNotUnderstand) {
  FakeSdk env;
  env.sdk().setDebugging(true);
  EXPECT_EQ(Database::open({.fileURL = env.appData() / "missing" / "a.db"}), nullptr);
  ASSERT_EQ(env.log->debugLines().size(), 1u);
  EXPECT_NE(env.log->debugLines()[0].find("missing/a.db"), std::string::npos);

  // A file written by a later schema must not be read as ours.
  auto newer = Database::open({.fileURL = env.appData() / "b.db", .schemaVersion = 3});
  ASSERT_NE(newer, nullptr);
  newer.reset();
  EXPECT_EQ(Database::open({.fileURL = env.appData() / "b.db"}), nullptr);
  EXPECT_NE(Database::open({.fileURL = env.appData() / "b.db", .schemaVersion = 3}), nullptr);
}

}  // namespace
}  // namespace vicinix
