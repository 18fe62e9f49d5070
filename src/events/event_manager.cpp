#include "events/event_manager.h"

#include <utility>

#include "base/sdk.h"
#include "data/model/event_factory.h"

namespace vicinix {

void EventManager::logAllEvents(Completion completion) {
  auto stored = EventFactory::shared().allEvents();
  if (!stored) return;
  std::vector<Event> events = std::move(*stored);
  if (events.empty()) {
    Sdk::current().debug("No Events to Log...");
    if (completion) completion();
    return;
  }
  std::vector<std::string> sent;
  sent.reserve(events.size());
  for (const Event& event : events) sent.push_back(event.id);
  GraphQLClient().log(events, replyHandler(std::move(sent), std::move(completion)));
}

GraphQLClient::ResponseHandler EventManager::replyHandler(std::vector<std::string> sent,
                                                          Completion completion) {
  // Shared by the batches' replies; the first accepted one deletes them all.
  auto pending = std::make_shared<std::vector<std::string>>(std::move(sent));
  return [pending, completion = std::move(completion)](std::optional<JsonValue> reply) {
    Sdk::current().mainQueue().async([pending, reply = std::move(reply)] {
      if (!reply) return;
      Sdk& sdk = Sdk::current();
      if ((*reply)["data"]["sdkCreateLog"].isString()) {
        // An accepted batch deletes every event this upload read, as the
        // backend has them or gets them from the batches still in flight. It
        // never deletes by "everything stored": events recorded since the read
        // (the start's own installation and app-started events, notifications
        // during the upload) were not sent and would be lost.
        EventFactory::shared().deleteEvents(std::exchange(*pending, {}));
        sdk.debug("Events logged sucessfully...");
      } else {
        sdk.debug(reply->string());
      }
    });
    if (completion) completion();
  };
}

}  // namespace vicinix
