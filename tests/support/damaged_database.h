#pragma once

#include <filesystem>

namespace vicinix::test {

enum class Damage {
  header,      // the file no longer starts as an SQLite database
  eventTable,  // the event table's first page is overwritten
};

// Damages the SQLite file at `file`, as a failing disk or a bad copy would.
// No connection may have it open.
void damageDatabase(const std::filesystem::path& file, Damage damage);

}  // namespace vicinix::test
