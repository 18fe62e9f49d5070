#include <glib.h>

#include <iostream>

#include "base/sdk.h"
#include "commands.h"
#include "data/model/beacon.h"
#include "data/model/event_factory.h"
#include "data/model/event_type.h"
#include "data/model/realm_configurator.h"
#include "exit_code.h"
#include "host_context.h"
#include "state_printer.h"

namespace vicinix::host {
namespace {

// Only an empty store prints []: a missing or unreadable one says so and
// fails, so that a script cannot take either for "nothing stored". Opened
// read-only, so that looking creates nothing and sets nothing aside.
int printRecords(const char* command, const std::filesystem::path& dataDir,
                 nlohmann::ordered_json (*records)(Database&)) {
  HostContext context(dataDir, "", false);
  const std::filesystem::path file =
      RealmConfigurator::realmDirectory() / RealmConfigurator::fileName;
  if (!std::filesystem::exists(file)) {
    std::cerr << command << ": error: no database at " << file.string() << "\n";
    return kExitNoData;
  }
  nlohmann::ordered_json list;
  try {
    Database database({.fileURL = file, .readOnly = true});
    list = records(database);
  } catch (const std::exception& error) {
    std::cerr << command << ": error: unreadable database " << file.string() << ": " << error.what()
              << "\n";
    return kExitDataUnreadable;
  }
  std::cout << printable(list) << std::endl;
  return kExitOk;
}

}  // namespace

int runSettings(const std::filesystem::path& dataDir) {
  HostContext context(dataDir, "", false);
  std::cout << printable(settingsJson()) << std::endl;
  return kExitOk;
}

int runEvents(const std::filesystem::path& dataDir) {
  return printRecords("events", dataDir, eventsJson);
}

int runCampaigns(const std::filesystem::path& dataDir) {
  return printRecords("campaigns", dataDir, campaignsJson);
}

int runBeacons(const std::filesystem::path& dataDir) {
  return printRecords("beacons", dataDir, beaconsJson);
}

int runRecordEvent(const RecordOptions& options) {
  auto type = eventTypeFromRawValue(options.type);
  if (!type) {
    std::cerr << "record-event: error: unknown event type " << options.type << "\n";
    return kExitUsage;
  }
  // The backend only takes UTF-8 text; anything else could never be sent as it was typed.
  for (const auto& text : {options.campaignId, options.beacon}) {
    if (text && !g_utf8_validate(text->data(), static_cast<gssize>(text->size()), nullptr)) {
      std::cerr << "record-event: error: --campaign-id and --beacon take UTF-8 text\n";
      return kExitUsage;
    }
  }
  HostContext context(options.dataDir, "", false);
  std::optional<Beacon> beacon;
  if (options.beacon) {
    auto colon = options.beacon->find(':');
    if (colon == std::string::npos) {
      std::cerr << "record-event: error: --beacon takes NAMESPACE:INSTANCE\n";
      return kExitUsage;
    }
    beacon = Beacon{.id = *options.beacon,
                    .namespace_ = options.beacon->substr(0, colon),
                    .instance = options.beacon->substr(colon + 1)};
  }
  EventFactory& events = EventFactory::shared();
  events.create(*type, options.campaignId, beacon ? &*beacon : nullptr);
  if (events.unsavedCount() > 0) {
    std::cerr << "record-event: error: the database under " << options.dataDir.string()
              << " cannot be written\n";
    return kExitNotWritten;
  }
  return kExitOk;
}

}  // namespace vicinix::host
