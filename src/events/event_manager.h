#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "network/graphql_client.h"

namespace vicinix {

// Uploads the stored analytics events and deletes them once the backend has
// accepted a batch.
class EventManager {
 public:
  using Completion = std::function<void()>;

  // Uploads every stored event. `completion` runs once per batch reply (also
  // a missing one), or at once when there is nothing to send; never when the
  // database cannot be opened.
  static void logAllEvents(Completion completion);
  // The handler for each batch's reply of an upload that sent the events
  // `sent` (ids): calls `completion` at once, then on the main queue deletes
  // those events if the backend answered with a string.
  static GraphQLClient::ResponseHandler replyHandler(std::vector<std::string> sent,
                                                     Completion completion);
};

}  // namespace vicinix
