#include "platform/linux/host_lifecycle.h"

#include <vicinix/vicinix.h>
#include <vicinix/vicinix_notification_client.h>

#include <algorithm>

#include "base/observed_http_client.h"
#include "base/sdk.h"
#include "data/model/event_factory.h"
#include "platform/linux/linux_platform.h"

namespace vicinix {

void HostLifecycle::forwardNotificationClicks(Sdk& sdk) {
  // The notification centre may outlive the context on a D-Bus thread.
  std::weak_ptr<DispatchQueue> queue = sdk.mainQueuePtr();
  sdk.notifications().setResponseHandler([queue](const NotificationResponse& response) {
    auto main = queue.lock();
    if (!main) return;
    main->async([response] {
      if (Sdk::isInstalled()) VicinixNotificationClient::notificationTapped(response);
    });
  });
}

ShutdownReport HostLifecycle::drainStoredEvents(ObservedHttpClient& http,
                                                std::chrono::milliseconds bound) {
  Vicinix::applicationDidEnterBackground();
  Sdk& sdk = Sdk::current();
  EventFactory& events = EventFactory::shared();
  // The store empties once the backend has taken the events; a refusal keeps
  // them for the next run. An upload deletes only what it read, so events
  // recorded meanwhile (a campaign reply still on its way) go in another one.
  auto recordedBy = [&](Date read) {
    auto stored = events.allEvents();
    return stored && std::ranges::any_of(
                         *stored, [read](const Event& event) { return event.created <= read; });
  };
  bool drained = false;
  const auto deadline = std::chrono::steady_clock::now() + bound;
  while (!drained && std::chrono::steady_clock::now() < deadline) {
    Date read = sdk.clock().now();
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    runMainLoopUntil([&] { return http.inFlight() == 0 && !recordedBy(read); }, left);
    // A database that cannot be read has nothing more to send.
    drained = events.count().value_or(0) == 0;
    if (!drained && !recordedBy(read)) Vicinix::logEvents(nullptr);
  }
  return ShutdownReport{.uploaded = drained, .eventsStored = events.count().value_or(0)};
}

}  // namespace vicinix
