#pragma once

#include <optional>
#include <string>
#include <vector>

#include "data/model/attribute.h"
#include "data/model/database.h"

namespace vicinix {

// Reads and writes Attribute rows. Writes throw SQLite::Exception; call them
// inside Database::write().
class AttributeTable {
 public:
  explicit AttributeTable(Database& database) : database_(database) {}

  // Inserts, or overwrites every field of the row with the same id.
  void addOrUpdate(const Attribute& attribute);
  std::optional<Attribute> find(const std::string& id);
  // The block's attributes in the order they were first stored.
  std::vector<Attribute> attributesOf(const std::string& blockId);
  std::vector<Attribute> all();
  void remove(const std::string& id);

 private:
  Database& database_;
};

}  // namespace vicinix
