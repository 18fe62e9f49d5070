#include "support/damaged_database.h"

#include <SQLiteCpp/Database.h>

#include <fstream>
#include <string>

namespace vicinix::test {

void damageDatabase(const std::filesystem::path& file, Damage damage) {
  int64_t offset = 0;
  int64_t length = 16;  // "SQLite format 3\0"
  {
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE);
    // Every page in the file itself, so that no copy in the log hides the damage.
    database.exec("PRAGMA wal_checkpoint(TRUNCATE)");
    if (damage == Damage::eventTable) {
      length = database.execAndGet("PRAGMA page_size").getInt64();
      offset = (database.execAndGet("SELECT rootpage FROM sqlite_master WHERE name = 'event'")
                    .getInt64() -
                1) *
               length;
    }
  }
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(offset);
  stream << std::string(static_cast<size_t>(length), '\xff');
}

}  // namespace vicinix::test
