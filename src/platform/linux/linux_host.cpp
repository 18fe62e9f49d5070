#include <glib-unix.h>
#include <signal.h>
#include <vicinix/linux_host.h>

#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/observed_http_client.h"
#include "base/sdk.h"
#include "platform/linux/bluetooth_source.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/host_lifecycle.h"
#include "platform/linux/linux_platform.h"

namespace vicinix {

class LinuxHost::State {
 public:
  std::filesystem::path dataDirectory;
  std::shared_ptr<ObservedHttpClient> http;
  std::shared_ptr<Sdk> sdk;
  std::unique_ptr<ScopedSdk> scope;
};

namespace {

// Problems a host can fix in its options, in words; empty when there is none.
std::string checkOptions(const LinuxHostOptions& options) {
  if (options.appName.empty() || options.appName.find('/') != std::string::npos ||
      options.appName == "." || options.appName == "..") {
    return "app name \"" + options.appName + "\" cannot name a directory";
  }
  const std::string& endpoint = options.endpoint;
  if (!endpoint.empty() && endpoint.rfind("http://", 0) != 0 &&
      endpoint.rfind("https://", 0) != 0) {
    return "endpoint \"" + endpoint + "\" is not an http:// or https:// URL";
  }
  return {};
}

// "replay:FILE" plays a recorded capture at its own pace, for demos and checks
// on machines without a radio.
constexpr std::string_view kReplayPrefix = "replay:";

}  // namespace

std::unique_ptr<LinuxHost> LinuxHost::create(const LinuxHostOptions& options, std::string& error) {
  return createWithToolkit(options, nullptr, error);
}

std::unique_ptr<LinuxHost> LinuxHost::createWithToolkit(const LinuxHostOptions& options,
                                                        std::shared_ptr<Toolkit> toolkit,
                                                        std::string& error) {
  error = checkOptions(options);
  if (!error.empty()) return nullptr;
  std::string sourceError;
  std::filesystem::path capture;
  std::optional<BluetoothSource> source;
  if (options.bluetoothSource.starts_with(kReplayPrefix)) {
    capture = options.bluetoothSource.substr(kReplayPrefix.size());
    if (CaptureFileReader::open(capture, sourceError)) source = BluetoothSource{};
  } else {
    source = BluetoothSource::parse(options.bluetoothSource, sourceError);
  }
  if (!source) {
    error = "bluetooth source \"" + options.bluetoothSource + "\": " + sourceError;
    return nullptr;
  }
  if (Sdk::isInstalled()) {
    error = "a Vicinix context is already installed in this process";
    return nullptr;
  }
  auto state = std::make_unique<State>();
  state->dataDirectory = options.dataDirectory.empty() ? defaultAppDataDirectory(options.appName)
                                                       : options.dataDirectory;
  std::error_code made;
  std::filesystem::create_directories(state->dataDirectory, made);
  if (made) {
    error = "cannot create " + state->dataDirectory.string() + ": " + made.message();
    return nullptr;
  }

  Platform platform = makeLinuxPlatform(
      {.appData = state->dataDirectory, .appName = options.appName, .bluetooth = *source});
  platform.toolkit = std::move(toolkit);
  if (!capture.empty()) {
    platform.bluetooth = CaptureReplayCentral::factory(
        {.path = capture, .clock = platform.clock, .log = platform.log, .speed = 1.0});
  }
  // Counted, so shutdown() knows when no upload is in flight.
  state->http = std::make_shared<ObservedHttpClient>(platform.http);
  platform.http = state->http;
  Sdk::Options sdkOptions;
  if (!options.endpoint.empty()) sdkOptions.graphQLEndpoint = options.endpoint;
  state->sdk = std::make_shared<Sdk>(std::move(platform), sdkOptions);
  state->sdk->setDebugging(options.debugging);
  state->scope = std::make_unique<ScopedSdk>(state->sdk);
  HostLifecycle::forwardNotificationClicks(*state->sdk);
  return std::unique_ptr<LinuxHost>(new LinuxHost(std::move(state)));
}

LinuxHost::LinuxHost(std::unique_ptr<State> state) : state_(std::move(state)) {}

LinuxHost::~LinuxHost() {
  state_->sdk->notifications().setResponseHandler(nullptr);
  state_->scope.reset();
  state_->sdk.reset();
}

void LinuxHost::run() {
  // Only while the loop runs: a host with a loop of its own keeps its own
  // handling of these signals.
  std::vector<guint> sources;
  for (int signal : {SIGINT, SIGTERM}) {
    sources.push_back(g_unix_signal_add(
        signal,
        [](gpointer) -> gboolean {
          quitMainLoop();
          return G_SOURCE_CONTINUE;
        },
        nullptr));
  }
  runMainLoop();
  for (guint source : sources) g_source_remove(source);
}

void LinuxHost::quit() {
  quitMainLoop();
}

ShutdownReport LinuxHost::shutdown(std::chrono::milliseconds bound) {
  return HostLifecycle::drainStoredEvents(*state_->http, bound);
}

const std::filesystem::path& LinuxHost::dataDirectory() const {
  return state_->dataDirectory;
}

}  // namespace vicinix
