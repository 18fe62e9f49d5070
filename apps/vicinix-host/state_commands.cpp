#include <glib.h>

#include <iostream>

#include "commands.h"
#include "core/sdk.h"
#include "data/model/beacon.h"
#include "data/model/event_factory.h"
#include "data/model/event_type.h"
#include "host_context.h"
#include "state_printer.h"

namespace vicinix::host {

int runSettings(const std::filesystem::path& dataDir) {
  HostContext context(dataDir, "", false);
  std::cout << printable(settingsJson()) << std::endl;
  return 0;
}

int runEvents(const std::filesystem::path& dataDir) {
  HostContext context(dataDir, "", false);
  std::cout << printable(eventsJson()) << std::endl;
  return 0;
}

int runCampaigns(const std::filesystem::path& dataDir) {
  HostContext context(dataDir, "", false);
  std::cout << printable(campaignsJson()) << std::endl;
  return 0;
}

int runBeacons(const std::filesystem::path& dataDir) {
  HostContext context(dataDir, "", false);
  std::cout << printable(beaconsJson()) << std::endl;
  return 0;
}

int runRecordEvent(const RecordOptions& options) {
  auto type = eventTypeFromRawValue(options.type);
  if (!type) {
    std::cerr << "record-event: error: unknown event type " << options.type << "\n";
    return 2;
  }
  // The backend only takes UTF-8 text; anything else could never be sent as it was typed.
  for (const auto& text : {options.campaignId, options.beacon}) {
    if (text && !g_utf8_validate(text->data(), static_cast<gssize>(text->size()), nullptr)) {
      std::cerr << "record-event: error: --campaign-id and --beacon take UTF-8 text\n";
      return 2;
    }
  }
  HostContext context(options.dataDir, "", false);
  std::optional<Beacon> beacon;
  if (options.beacon) {
    auto colon = options.beacon->find(':');
    if (colon == std::string::npos) {
      std::cerr << "record-event: error: --beacon takes NAMESPACE:INSTANCE\n";
      return 2;
    }
    beacon = Beacon{.id = *options.beacon,
                    .namespace_ = options.beacon->substr(0, colon),
                    .instance = options.beacon->substr(colon + 1)};
  }
  if (!EventFactory::shared().realm()) {
    std::cerr << "record-event: error: the database under " << options.dataDir.string()
              << " cannot be opened\n";
    return 2;
  }
  EventFactory::shared().create(*type, options.campaignId, beacon ? &*beacon : nullptr);
  return 0;
}

}  // namespace vicinix::host
