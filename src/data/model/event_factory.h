#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data/model/beacon.h"
#include "data/model/database.h"
#include "data/model/event_type.h"

namespace vicinix {

class Sdk;

// Records analytics events and clears them after an accepted upload.
class EventFactory {
 public:
  explicit EventFactory(Sdk& sdk);
  static EventFactory& shared();

  // Records one event now. Without a database nothing is recorded; a failed
  // write is fatal.
  void create(EventType type, const std::optional<std::string>& campaignId = std::nullopt,
              const Beacon* beacon = nullptr);
  void deleteAllEvents();
  // Deletes the events with these ids, as one write; a failure is only printed.
  void deleteEvents(const std::vector<std::string>& ids);

  // The store's own handle; absent when the database could not be opened.
  Database* realm() { return realm_.get(); }

 private:
  Sdk& sdk_;
  std::unique_ptr<Database> realm_;
};

}  // namespace vicinix
