#pragma once

#include <optional>
#include <string>
#include <vector>

#include "data/model/beacon.h"
#include "data/model/database.h"

namespace vicinix {

// Reads and writes Beacon rows. Writes throw SQLite::Exception; call them
// inside Database::write().
class BeaconTable {
 public:
  explicit BeaconTable(Database& database) : database_(database) {}

  // Inserts, or overwrites every field of the row with the same id.
  void addOrUpdate(const Beacon& beacon);
  std::optional<Beacon> find(const std::string& id);
  std::optional<Beacon> first(const std::string& namespace_, const std::string& instance);
  std::vector<Beacon> all();
  void remove(const std::string& id);

 private:
  Database& database_;
};

}  // namespace vicinix
