#include "data/model/event_factory.h"

#include "core/date_format.h"
#include "core/fatal.h"
#include "core/sdk.h"
#include "data/model/event_table.h"
#include "data/model/realm_configurator.h"

namespace vicinix {

EventFactory::EventFactory(Sdk& sdk)
    : sdk_(sdk), realm_(Database::open(RealmConfigurator::vicinixConfiguration())) {}

EventFactory& EventFactory::shared() {
  return Sdk::current().shared<EventFactory>();
}

void EventFactory::create(EventType type, const std::optional<std::string>& campaignId,
                          const Beacon* beacon) {
  Event event = Event::makeNew(sdk_);
  if (!realm_) return;
  auto error = realm_->write([&] {
    event.timestamp = formatTimestamp(sdk_.clock().now());
    event.type = std::string(rawValue(type));
    if (campaignId) event.campaignId = *campaignId;
    if (beacon != nullptr) {
      event.beaconNamespace = beacon->namespace_;
      event.beaconInstance = beacon->instance;
    }
    EventTable(*realm_).add(event);
  });
  // Losing analytics silently would skew every report built on them.
  if (error) fatal("Unable to record an event: " + *error);
}

void EventFactory::deleteAllEvents() {
  if (!realm_) return;
  if (auto error = realm_->write([&] { EventTable(*realm_).removeAll(); })) sdk_.debug(*error);
}

void EventFactory::deleteEvents(const std::vector<std::string>& ids) {
  if (!realm_ || ids.empty()) return;
  if (auto error = realm_->write([&] { EventTable(*realm_).remove(ids); })) sdk_.debug(*error);
}

}  // namespace vicinix
