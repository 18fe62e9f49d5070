#pragma once

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "data/model/database_configuration.h"

namespace vicinix {

// One connection to the SDK's database file, in WAL mode. Each store's
// DatabaseHandle holds its own. Records live in five tables (beacon,
// campaign, block, attribute, event); links are id columns and inverse links
// are queries in rowid order.
// A connection may be reached from several queues: write() and every table
// call hold lock() while they use it.
class Database {
 public:
  // Opens the file, creating the tables on first use; throws when it cannot.
  explicit Database(const DatabaseConfiguration& configuration);
  // The same, with nothing instead of an exception; the reason goes to the
  // debug output.
  static std::unique_ptr<Database> open(const DatabaseConfiguration& configuration);

  // Runs `changes` as one transaction, rolled back when it throws; what it
  // threw is thrown on.
  void transaction(const std::function<void()>& changes);
  // Like transaction(), with the error's description returned instead.
  std::optional<std::string> write(const std::function<void()>& changes);

  // A prepared statement for `sql`, reset and ready to bind. Statements are
  // prepared once per connection. Use it under lock().
  SQLite::Statement& statement(const std::string& sql);
  SQLite::Database& connection() { return connection_; }
  [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() { return std::unique_lock(mutex_); }

 private:
  std::recursive_mutex mutex_;
  SQLite::Database connection_;
  // Declared after the connection so the statements are finalized before it closes.
  std::unordered_map<std::string, std::unique_ptr<SQLite::Statement>> statements_;
};

}  // namespace vicinix
