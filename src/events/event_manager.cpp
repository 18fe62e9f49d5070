#include "events/event_manager.h"

#include "core/sdk.h"
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
  GraphQLClient().log(events, replyHandler(std::move(completion)));
}

GraphQLClient::ResponseHandler EventManager::replyHandler(Completion completion) {
  return [completion = std::move(completion)](std::optional<JsonValue> reply) {
    Sdk::current().mainQueue().async([reply = std::move(reply)] {
      if (!reply) return;
      Sdk& sdk = Sdk::current();
      if ((*reply)["data"]["sdkCreateLog"].isString()) {
        // Any accepted batch clears the whole store, later events included:
        // the backend has them or will get them from the batches in flight.
        EventFactory::shared().deleteAllEvents();
        sdk.debug("Events logged sucessfully...");
      } else {
        sdk.debug(reply->string());
      }
    });
    if (completion) completion();
  };
}

}  // namespace vicinix
