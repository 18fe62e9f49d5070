#pragma once

#include <optional>
#include <string>
#include <vector>

#include "data/model/block.h"
#include "data/model/database.h"

namespace vicinix {

// Reads and writes Block rows. Writes throw SQLite::Exception; call them
// inside Database::write().
class BlockTable {
 public:
  explicit BlockTable(Database& database) : database_(database) {}

  // Inserts, or overwrites every field of the row with the same id.
  void addOrUpdate(const Block& block);
  std::optional<Block> find(const std::string& id);
  // The campaign's blocks in the order they were first stored.
  std::vector<Block> blocksOf(const std::string& campaignId);
  std::vector<Block> all();
  void remove(const std::string& id);

 private:
  Database& database_;
};

}  // namespace vicinix
