#include "data/model/event_factory.h"

#include <utility>

#include "base/date_format.h"
#include "base/sdk.h"
#include "data/model/event_table.h"

namespace vicinix {
namespace {

// About a megabyte of events. A database that stays away longer than that
// costs the oldest ones rather than the host's memory.
constexpr size_t kMaximumUnsaved = 4096;

}  // namespace

EventFactory::EventFactory(Sdk& sdk) : sdk_(sdk), realm_(sdk) {}

EventFactory::~EventFactory() {
  if (!unsaved_.empty()) {
    sdk_.log().systemLine(std::to_string(unsaved_.size()) +
                          " analytics events are lost: the database never took them");
  }
}

EventFactory& EventFactory::shared() {
  return Sdk::current().shared<EventFactory>();
}

void EventFactory::create(EventType type, const std::optional<std::string>& campaignId,
                          const Beacon* beacon) {
  Event event = Event::makeNew(sdk_);
  event.timestamp = formatTimestamp(sdk_.clock().now());
  event.type = std::string(rawValue(type));
  if (campaignId) event.campaignId = *campaignId;
  if (beacon != nullptr) {
    event.beaconNamespace = beacon->namespace_;
    event.beaconInstance = beacon->instance;
  }
  std::lock_guard lock(unsavedMutex_);
  unsaved_.push_back(std::move(event));
  // A write the database refuses (locked by another process, read-only, set
  // aside as corrupt) says nothing about the event: it waits here for the
  // database to come back instead of stopping the host or being dropped.
  saveUnsaved();
  if (unsaved_.size() > kMaximumUnsaved) {
    unsaved_.erase(unsaved_.begin());
    if (!std::exchange(droppedReported_, true)) {
      sdk_.log().systemLine("the database has not taken the last " +
                            std::to_string(kMaximumUnsaved) +
                            " analytics events; dropping the oldest from now on");
    }
  }
}

// Under unsavedMutex_.
void EventFactory::saveUnsaved() {
  if (unsaved_.empty()) return;
  auto error = realm_.write([&](Database& database) {
    EventTable table(database);
    for (const Event& event : unsaved_) table.add(event);
  });
  if (!error) unsaved_.clear();
}

void EventFactory::deleteAllEvents() {
  realm_.write([](Database& database) { EventTable(database).removeAll(); });
}

std::optional<std::vector<Event>> EventFactory::allEvents() {
  {
    std::lock_guard lock(unsavedMutex_);
    saveUnsaved();
  }
  return realm_.read([](Database& database) { return EventTable(database).all(); });
}

std::optional<int64_t> EventFactory::count() {
  return realm_.read([](Database& database) { return EventTable(database).count(); });
}

size_t EventFactory::unsavedCount() {
  std::lock_guard lock(unsavedMutex_);
  return unsaved_.size();
}

void EventFactory::deleteEvents(const std::vector<std::string>& ids) {
  if (ids.empty()) return;
  realm_.write([&](Database& database) { EventTable(database).remove(ids); });
}

}  // namespace vicinix
