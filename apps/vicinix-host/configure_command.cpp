#include <iostream>

#include "base/date_format.h"
#include "base/url.h"
#include "commands.h"
#include "core/vicinix_configurator.h"
#include "data/model/event_factory.h"
#include "events/event_manager.h"
#include "exit_code.h"
#include "host_context.h"
#include "state_printer.h"

namespace vicinix::host {
namespace {

using namespace std::chrono_literals;

// Longer than the client's own 60 s request timeout, so a silent backend is
// reported by the client and not cut short here.
constexpr auto kReplyTimeout = 65s;

std::string backendProblem(HostContext& context) {
  if (!context.http().lastTransportError().empty()) return context.http().lastTransportError();
  if (!context.http().firstBackendError().empty()) {
    return "the backend refused the request: " + context.http().firstBackendError();
  }
  return "the backend gave no usable answer";
}

}  // namespace

int runConfigure(const ConfigureOptions& options) {
  if (!Url::parse(options.endpoint)) {
    std::cerr << "configure: error: " << options.endpoint << " is not a URL\n";
    return kExitUsage;
  }
  HostContext context(options.dataDir, options.endpoint, options.debug);
  const std::string updateKey(
      VicinixConfigurator::keyString(VicinixDefaultsKey::requiredSdkVersionUpdateDate));
  auto answeredBefore = context.sdk().defaults().date(updateKey);

  // The same freshness rule the configurator applies: is a required-version
  // answer to be expected from this run?
  int64_t period = VicinixConfigurator::requiredSdkVersionExpiration();
  if (period == 0) period = 86400;
  bool expectVersion = !answeredBefore || std::chrono::system_clock::now() - *answeredBefore >
                                              std::chrono::seconds(period);

  // As the SDK does at start: the headers then tell the backend the truth.
  VicinixConfigurator::checkForInternetConnection();
  VicinixConfigurator::save(options.applicationKey);
  bool configured = false;
  VicinixConfigurator::configure([&configured] { configured = true; });
  std::cerr << "configure: asked " << options.endpoint << " for the application configuration\n";

  auto versionAnswered = [&] {
    auto answeredAfter = context.sdk().defaults().date(updateKey);
    return answeredAfter && answeredAfter != answeredBefore;
  };
  auto failed = [&] {
    return !context.http().lastTransportError().empty() ||
           !context.http().firstBackendError().empty();
  };
  // Done once every exchange asked for has ended, whatever its reply held: a
  // reply that came at once but was of no use has nothing more to wait for.
  const int exchanges = expectVersion ? 2 : 1;
  const bool ended = context.runUntil(
      [&] { return context.http().completed() >= exchanges && context.http().inFlight() == 0; },
      kReplyTimeout);

  if (!configured || (expectVersion && !versionAnswered()) || failed()) {
    std::cerr << "configure: error: cannot configure from " << options.endpoint << ": "
              << backendProblem(context) << "\n";
    return ended ? kExitRemoteFailed : kExitRemoteTimedOut;
  }
  std::cerr << "configure: configuration applied; required SDK version "
            << VicinixConfigurator::requiredSDKVersion()
            << (expectVersion ? " (answered now)" : " (still fresh)") << "; SDK "
            << (VicinixConfigurator::sdkEnabled() ? "enabled" : "disabled by the backend") << "\n";

  auto stored = EventFactory::shared().count();
  if (!stored) {
    std::cerr << "configure: error: the database under " << options.dataDir.string()
              << " cannot be read; no events uploaded\n";
    std::cout << printable(settingsJson()) << std::endl;
    return kExitDataUnreadable;
  }
  int64_t before = *stored;
  int batches = 0;
  int expectedBatches = before == 0 ? 1 : static_cast<int>((before + 19) / 20);
  EventManager::logAllEvents([&batches] { ++batches; });
  context.runUntil([&] { return batches >= expectedBatches && context.http().inFlight() == 0; },
                   kReplyTimeout);
  context.runFor(20ms);  // the store is cleared in a task after the reply
  int64_t after = EventFactory::shared().count().value_or(before);
  if (before == 0) {
    std::cerr << "configure: no stored events to upload\n";
  } else {
    std::cerr << "configure: uploaded " << before << " events in " << expectedBatches
              << (expectedBatches == 1 ? " batch" : " batches") << "; " << after
              << " left in the store\n";
  }
  std::cout << printable(settingsJson()) << std::endl;
  // What is left is what the backend did not take.
  return after == 0 ? kExitOk : kExitRemoteFailed;
}

}  // namespace vicinix::host
