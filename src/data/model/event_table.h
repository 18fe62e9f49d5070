#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/model/database.h"
#include "data/model/event.h"

namespace vicinix {

// Reads and writes Event rows. Writes throw SQLite::Exception; call them
// inside Database::write().
class EventTable {
 public:
  explicit EventTable(Database& database) : database_(database) {}

  void add(const Event& event);
  std::vector<Event> all();  // in the order they were recorded
  void removeAll();
  void remove(const std::vector<std::string>& ids);  // ids not stored are skipped
  int64_t count();

 private:
  Database& database_;
};

}  // namespace vicinix
