#include "data/model/database.h"

#include <SQLiteCpp/Transaction.h>
#include <sqlite3.h>

#include <stdexcept>

#include "base/sdk.h"

namespace vicinix {
namespace {

// Several stores write through their own connections; waiting this long for
// another connection's transaction beats failing the write.
constexpr int kBusyTimeoutMilliseconds = 5000;

// Rowid tables keep insertion order for free; `id` is the records' own key.
constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS beacon (
  id TEXT PRIMARY KEY NOT NULL,
  namespace TEXT NOT NULL,
  instance TEXT NOT NULL,
  created INTEGER NOT NULL,
  updated INTEGER
);
CREATE INDEX IF NOT EXISTS beacon_by_identity ON beacon (namespace, instance);
CREATE TABLE IF NOT EXISTS campaign (
  id TEXT PRIMARY KEY NOT NULL,
  notification_title TEXT NOT NULL,
  notification_text TEXT NOT NULL,
  notification_image_path TEXT NOT NULL,
  type TEXT NOT NULL,
  detail_url_path TEXT NOT NULL,
  list_image_path TEXT NOT NULL,
  list_title TEXT NOT NULL,
  list_text TEXT NOT NULL,
  is_active INTEGER NOT NULL,
  in_app_event TEXT NOT NULL,
  cooldown INTEGER NOT NULL,
  maximum_notifications_per_user INTEGER NOT NULL,
  created INTEGER NOT NULL,
  updated INTEGER,
  notification_sent INTEGER,
  notification_count INTEGER NOT NULL
);
CREATE TABLE IF NOT EXISTS block (
  id TEXT PRIMARY KEY NOT NULL,
  type TEXT NOT NULL,
  sort_index INTEGER NOT NULL,
  campaign TEXT
);
CREATE INDEX IF NOT EXISTS block_by_campaign ON block (campaign);
CREATE TABLE IF NOT EXISTS attribute (
  id TEXT PRIMARY KEY NOT NULL,
  "key" TEXT NOT NULL,
  value TEXT NOT NULL,
  sort_index INTEGER NOT NULL,
  block TEXT
);
CREATE INDEX IF NOT EXISTS attribute_by_block ON attribute (block);
CREATE TABLE IF NOT EXISTS event (
  id TEXT PRIMARY KEY NOT NULL,
  type TEXT NOT NULL,
  created INTEGER NOT NULL,
  timestamp TEXT NOT NULL,
  campaign_id TEXT,
  beacon_namespace TEXT,
  beacon_instance TEXT,
  has_bluetooth_turned_on INTEGER NOT NULL,
  has_internet_connection INTEGER NOT NULL,
  has_location_permission INTEGER NOT NULL,
  has_notification_permission INTEGER NOT NULL
);
)sql";

int64_t checkSchemaVersion(SQLite::Database& connection, uint64_t expected) {
  int64_t stored = connection.execAndGet("PRAGMA user_version").getInt64();
  // A newer SDK may have laid the tables out differently; reading them as ours
  // would misplace fields.
  if (stored < 0 || static_cast<uint64_t>(stored) > expected) {
    throw std::runtime_error("the file has schema version " + std::to_string(stored) +
                             ", newer than " + std::to_string(expected));
  }
  return stored;
}

// The tables of a file this SDK laid out already: opening it then reads only,
// and does not wait for another connection that is writing.
bool schemaInPlace(SQLite::Database& connection) {
  return connection
             .execAndGet(
                 "SELECT count(*) FROM sqlite_master WHERE name IN ('beacon', "
                 "'beacon_by_identity', 'campaign', 'block', 'block_by_campaign', 'attribute', "
                 "'attribute_by_block', 'event')")
             .getInt() == 8;
}

void prepareForWriting(SQLite::Database& connection, uint64_t schemaVersion) {
  connection.exec("PRAGMA journal_mode = WAL");
  // In WAL mode NORMAL loses at most the last commits on power loss, never
  // consistency, and spares an fsync per event.
  connection.exec("PRAGMA synchronous = NORMAL");
  if (static_cast<uint64_t>(checkSchemaVersion(connection, schemaVersion)) == schemaVersion &&
      schemaInPlace(connection)) {
    return;
  }
  // Two stores opening a new file at once must not both lay out the tables.
  SQLite::Transaction transaction(connection, SQLite::TransactionBehavior::IMMEDIATE);
  int64_t stored = checkSchemaVersion(connection, schemaVersion);
  connection.exec(kSchema);
  if (static_cast<uint64_t>(stored) != schemaVersion) {
    connection.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
  }
  transaction.commit();
}

// The last connection to close would delete the -wal and -shm files by name.
// Once the file has been set aside (DatabaseHandle), those names belong to the
// fresh file, which a late close must not rob of its log. Kept files are
// emptied on close instead (journal_size_limit), so they cost next to nothing.
void keepLogFilesOnClose(SQLite::Database& connection) {
  int keep = 1;
  sqlite3_file_control(connection.getHandle(), "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
  connection.exec("PRAGMA journal_size_limit = 1048576");
}

int openFlags(const DatabaseConfiguration& configuration) {
  return configuration.readOnly ? SQLite::OPEN_READONLY
                                : SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE;
}

}  // namespace

Database::Database(const DatabaseConfiguration& configuration)
    : connection_(configuration.fileURL.string(), openFlags(configuration),
                  kBusyTimeoutMilliseconds) {
  keepLogFilesOnClose(connection_);
  if (configuration.readOnly) {
    checkSchemaVersion(connection_, configuration.schemaVersion);
  } else {
    prepareForWriting(connection_, configuration.schemaVersion);
  }
}

std::unique_ptr<Database> Database::open(const DatabaseConfiguration& configuration) {
  try {
    return std::make_unique<Database>(configuration);
  } catch (const std::exception& error) {
    if (Sdk::isInstalled()) {
      Sdk::current().debug("Unable to open the database " + configuration.fileURL.string() + ": " +
                           error.what());
    }
    return nullptr;
  }
}

void Database::transaction(const std::function<void()>& changes) {
  auto guard = lock();
  // IMMEDIATE takes the write lock up front, where the busy timeout applies;
  // a deferred transaction upgrading later could fail at once instead.
  SQLite::Transaction transaction(connection_, SQLite::TransactionBehavior::IMMEDIATE);
  changes();
  transaction.commit();
}

std::optional<std::string> Database::write(const std::function<void()>& changes) {
  try {
    transaction(changes);
    return std::nullopt;
  } catch (const std::exception& error) {
    // The transaction's destructor has rolled back by now.
    return error.what();
  }
}

SQLite::Statement& Database::statement(const std::string& sql) {
  auto& cached = statements_[sql];
  if (!cached) {
    cached = std::make_unique<SQLite::Statement>(connection_, sql);
  } else {
    // A statement left mid-way (an error, an early return) would keep an old
    // snapshot and its bindings.
    cached->tryReset();
    cached->clearBindings();
  }
  return *cached;
}

}  // namespace vicinix
