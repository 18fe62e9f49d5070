#pragma once

#include <vicinix/linux_host.h>

#include <chrono>

namespace vicinix {

class ObservedHttpClient;
class Sdk;

// What every Linux host does around the SDK's life, shared by LinuxHost and
// vicinix-host's own context.
class HostLifecycle {
 public:
  // Hands the desktop's notification clicks to the SDK on its main queue. A
  // click that arrives after the context is gone is dropped.
  static void forwardNotificationClicks(Sdk& sdk);
  // Sends the host to the background and runs the main loop until the stored
  // events are uploaded or `bound` passes. `http` is the context's client,
  // which tells when no upload is in flight any more.
  static ShutdownReport drainStoredEvents(ObservedHttpClient& http,
                                          std::chrono::milliseconds bound);
};

}  // namespace vicinix
