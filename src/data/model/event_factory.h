#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "data/model/beacon.h"
#include "data/model/database_handle.h"
#include "data/model/event.h"
#include "data/model/event_type.h"

namespace vicinix {

class Sdk;

// Records analytics events and clears them after an accepted upload.
class EventFactory {
 public:
  explicit EventFactory(Sdk& sdk);
  ~EventFactory();
  static EventFactory& shared();

  // Records one event now. One the database cannot take yet waits in memory
  // and is written with the next record or read. A refused write does not
  // stop the program: a lock another process holds or a file being replaced
  // is a bad moment in the field, not a programming error, and stopping would
  // lose every event still waiting.
  void create(EventType type, const std::optional<std::string>& campaignId = std::nullopt,
              const Beacon* beacon = nullptr);
  void deleteAllEvents();
  // Deletes the events with these ids, as one write; a failure is only printed.
  void deleteEvents(const std::vector<std::string>& ids);
  // Every stored event in the order recorded, those waiting in memory written
  // first when they can be; nothing when the database cannot be read.
  std::optional<std::vector<Event>> allEvents();
  // How many events are stored; nothing when the database cannot be read.
  std::optional<int64_t> count();
  // Events recorded that the database has not taken yet.
  size_t unsavedCount();

  // The store's open database; null while it cannot be opened.
  Database* realm() { return realm_.get(); }

 private:
  void saveUnsaved();

  Sdk& sdk_;
  DatabaseHandle realm_;
  std::mutex unsavedMutex_;
  std::vector<Event> unsaved_;
  bool droppedReported_ = false;
};

}  // namespace vicinix
