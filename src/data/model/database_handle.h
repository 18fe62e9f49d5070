#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "data/model/database.h"
#include "data/model/database_configuration.h"

namespace vicinix {

class Sdk;

// A store's handle on the SDK's database file, which keeps the store working
// whatever becomes of the file. Rather than leave a store without a database
// for the rest of the process, a file that cannot be opened (a read-only
// directory, a lock another process holds, the schema of a newer SDK) is
// opened again on a later use, at most once every retryInterval of the SDK's
// clock, and reported once on the system log. A file SQLite reports as
// corrupt, when opened or on any later read or write, is kept aside as
// "vicinix.realm.corrupt-<time>" with its -wal and -shm, every store moves to
// a fresh one, and the read or write that found the damage is done again
// there. No database error leaves this class.
class DatabaseHandle {
 public:
  static constexpr std::chrono::seconds retryInterval{5};

  // Opens nothing yet: the file is opened on first use, outside the lock
  // that guards the making of the SDK's shared instances.
  explicit DatabaseHandle(Sdk& sdk);
  DatabaseHandle(const DatabaseHandle&) = delete;
  DatabaseHandle& operator=(const DatabaseHandle&) = delete;

  // The open database, opened first when needed; null while it cannot be.
  // Valid until the handle's next use.
  Database* get();

  // What `query` read; nothing when there is no database or the query failed.
  template <class Query>
  auto read(Query&& query) -> std::optional<std::invoke_result_t<Query&, Database&>> {
    std::optional<std::invoke_result_t<Query&, Database&>> result;
    use([&](Database& database) { result = query(database); });
    return result;
  }
  // Runs `changes` as one transaction; the error when there is no database or
  // the transaction failed and was rolled back.
  std::optional<std::string> write(const std::function<void(Database&)>& changes);

 private:
  struct File;

  std::optional<std::string> use(const std::function<void(Database&)>& work, bool again = true);
  Database* open();
  // Closed for retryInterval, and reported.
  void fail(const std::string& reason);
  // Once on the system log until recovered(); each time as a debug line.
  void report(const std::string& reason);
  void recovered();
  bool setAside(std::string& reason);

  Sdk& sdk_;
  File& file_;
  const DatabaseConfiguration configuration_;
  std::unique_ptr<Database> database_;
  uint64_t generation_ = 0;  // of the file database_ was opened on
  int depth_ = 0;            // uses under way, for a use within a use
};

}  // namespace vicinix
