#pragma once

#include <functional>

#include "network/graphql_client.h"

namespace vicinix {

// Uploads the stored analytics events and clears the store once the backend
// has accepted a batch.
class EventManager {
 public:
  using Completion = std::function<void()>;

  // Uploads every stored event. `completion` runs once per batch reply (also
  // a missing one), or at once when there is nothing to send; never when the
  // database cannot be opened.
  static void logAllEvents(Completion completion);
  // The handler for one batch's reply: calls `completion` at once, then on
  // the main queue clears the store if the backend answered with a string.
  static GraphQLClient::ResponseHandler replyHandler(Completion completion);
};

}  // namespace vicinix
