// vicinix-host: the reference host of the Vicinix SDK. It runs the SDK against
// a backend, shows what the SDK stored, replays Bluetooth captures and draws
// the SDK's screens offscreen.

#include <libintl.h>
#include <unistd.h>
#include <vicinix/version.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <iostream>
#include <optional>

#include "application_key.h"
#include "commands.h"
#include "core/sdk_version.h"
#include "exit_code.h"
#include "host_context.h"
#include "journal_line_buffer.h"

namespace {

using namespace vicinix::host;

// The key options of `run` and `configure`, which say which source wins.
void addKeyOptions(CLI::App* command, ApplicationKeySources& sources) {
  auto* file = command->add_option(
      "--app-key-file", sources.file,
      "A file whose first line is the application key; wins over VICINIX_APP_KEY");
  command
      ->add_option("--app-key", sources.option,
                   "The application key itself; every user sees it in ps, so prefer the file "
                   "or VICINIX_APP_KEY")
      ->excludes(file);
}

// The key for `command`, or the exit code of its absence. A warning about
// the file goes out first.
std::optional<int> applyKey(const char* command, const ApplicationKeySources& sources,
                            std::string& key, std::string* origin = nullptr) {
  std::string problem;
  auto resolved = resolveApplicationKey(sources, problem);
  if (!resolved) {
    std::cerr << command << ": error: " << problem << "\n";
    return kExitUsage;
  }
  if (!resolved->warning.empty())
    std::cerr << command << ": warning: " << resolved->warning << "\n";
  key = resolved->key;
  if (origin) *origin = resolved->origin;
  return std::nullopt;
}

// Looking at the stored state must not create it: a mistyped --data-dir would
// otherwise read as a fresh installation and leave an empty one behind.
std::optional<int> refuseMissing(const char* command, const std::filesystem::path& dataDir) {
  std::error_code error;
  if (std::filesystem::is_directory(dataDir, error)) return std::nullopt;
  std::cerr << command << ": error: no data directory " << dataDir.string() << "\n";
  return kExitNoData;
}

std::string versionText() {
  return std::string("vicinix-host ") + VICINIX_VERSION_STRING + " (backend protocol " +
         std::to_string(vicinix::kSdkVersion) + ")";
}

}  // namespace

int main(int argc, char** argv) {
  // In a service each line carries its priority for the journal.
  std::optional<JournalLineBuffer> journalOut, journalErr;
  if (vicinix::isJournalStream(STDOUT_FILENO)) journalOut.emplace(std::cout, stdout);
  if (vicinix::isJournalStream(STDERR_FILENO)) journalErr.emplace(std::cerr, stderr);
  // The SDK's screens ask the host for their titles ("Kampaně") through
  // gettext. Only the messages follow the user's locale: numbers stay in the
  // C locale the JSON and GraphQL texts are written in.
  std::setlocale(LC_MESSAGES, "");
  std::setlocale(LC_CTYPE, "");
  bindtextdomain("vicinix-host", VICINIX_HOST_LOCALEDIR);
  bind_textdomain_codeset("vicinix-host", "UTF-8");
  textdomain("vicinix-host");
  CLI::App app{"vicinix-host: the reference host of the Vicinix proximity-marketing SDK",
               "vicinix-host"};
  app.require_subcommand(1);
  app.set_version_flag("--version", versionText(), "Print the version and exit");
  app.footer(kExitCodeHelp);
  // Usage errors take the table's code and say so in the host's own words.
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("vicinix-host: error: ") + error.what() +
           "\nRun with --help for more information.\n";
  });
  std::filesystem::path dataDir = defaultDataDirectory();
  auto addDataDir = [&dataDir](CLI::App* command) {
    // Shown as a rule rather than this machine's path, so the help reads the same everywhere.
    command->add_option("--data-dir", dataDir,
                        "The host's app-data directory (default $XDG_DATA_HOME/vicinix-host, "
                        "or ~/.local/share/vicinix-host)");
  };

  ConfigureOptions configure;
  auto* configureCommand = app.add_subcommand(
      "configure", "Fetch the remote configuration, upload stored events, print the settings");
  configureCommand->add_option("--endpoint", configure.endpoint, "The backend's GraphQL URL")
      ->required();
  ApplicationKeySources configureKey;
  addKeyOptions(configureCommand, configureKey);
  configureCommand->add_flag("--debug", configure.debug, "Print the SDK's debug lines");
  addDataDir(configureCommand);

  RunOptions run;
  auto* runCommand = app.add_subcommand("run", "Run the SDK headless until stopped");
  ApplicationKeySources runKey;
  addKeyOptions(runCommand, runKey);
  runCommand->add_option("--endpoint", run.endpoint, "The backend's GraphQL URL")->required();
  runCommand
      ->add_option("--source", run.source, "bluez[:ADAPTER][,refresh=S] | hci[:N] | replay:FILE")
      ->capture_default_str();
  runCommand->add_option("--replay-speed", run.replaySpeed, "How much faster than recorded")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  runCommand->add_option("--duration", run.duration, "Seconds to run, then shut down cleanly");
  runCommand->add_flag("--debug", run.debug, "Turn the SDK's debugging switch on");
  runCommand->add_flag("--gui", run.gui,
                       "Show the campaign list in a desktop window; closing it stops the host");
  addDataDir(runCommand);

  auto* settingsCommand = app.add_subcommand("settings", "Print every stored setting as JSON");
  addDataDir(settingsCommand);

  auto* eventsCommand = app.add_subcommand("events", "Print every stored event as JSON");
  addDataDir(eventsCommand);

  auto* campaignsCommand =
      app.add_subcommand("campaigns", "Print every stored campaign with its blocks as JSON");
  addDataDir(campaignsCommand);

  auto* beaconsCommand = app.add_subcommand("beacons", "Print every stored beacon as JSON");
  addDataDir(beaconsCommand);

  RecordOptions record;
  auto* recordCommand =
      app.add_subcommand("record-event", "Record one analytics event, as the SDK would");
  recordCommand->add_option("--type", record.type, "APP_STARTED, PULL_NOTIFICATION, ...")
      ->required();
  recordCommand->add_option("--campaign-id", record.campaignId, "The campaign concerned");
  recordCommand->add_option("--beacon", record.beacon, "NAMESPACE:INSTANCE of the beacon");
  addDataDir(recordCommand);

  ReplayOptions replay;
  auto* replayCommand = app.add_subcommand(
      "replay", "Run a Bluetooth capture (btsnoop, pcap) through the beacon scanner");
  replayCommand->add_option("FILE", replay.file, "The capture, e.g. from sudo btmon -w FILE")
      ->required();
  replayCommand->add_flag("--json", replay.json, "One JSON object per line");
  addDataDir(replayCommand);

  ScanOptions scan;
  auto* scanCommand = app.add_subcommand(
      "scan",
      "Listen to a Bluetooth source; per beacon report rates, gaps and whether the lost "
      "timer will flap");
  scanCommand
      ->add_option("--source", scan.source, "bluez[:ADAPTER][,refresh=S] | hci[:N] | replay:FILE")
      ->capture_default_str();
  scanCommand->add_option("--seconds", scan.seconds, "How long to listen")->capture_default_str();

  RenderOptions render;
  auto* renderCommand = app.add_subcommand(
      "render", "Draw a screen offscreen to a PNG file, and its view tree to JSON");
  renderCommand->require_subcommand(1);
  auto addRenderOutputs = [&](CLI::App* command) {
    command->add_option("--size", render.size, "The screen in points, WIDTHxHEIGHT")
        ->capture_default_str();
    command->add_option("--png", render.png, "Where to write the picture");
    command->add_option("--layout", render.layout, "Where to write the drawn view tree as JSON");
    addDataDir(command);
  };
  auto* renderPage = renderCommand->add_subcommand(
      "page", "A PAGE campaign's page, in the modal container as the SDK presents it");
  renderPage->add_option("--campaign", render.campaignId, "The campaign's id")->required();
  addRenderOutputs(renderPage);
  auto* renderWeb = renderCommand->add_subcommand(
      "web", "A WEB_PAGE campaign's web page, loaded, in the modal container");
  renderWeb->add_option("--campaign", render.campaignId, "The campaign's id")->required();
  renderWeb->add_option("--wait", render.pageWait, "Seconds the page may take to load and paint")
      ->capture_default_str()
      ->check(CLI::Range(1, 600));
  addRenderOutputs(renderWeb);
  auto* renderList = renderCommand->add_subcommand(
      "list", "The campaign list with the stored campaigns, in its navigation container");
  addRenderOutputs(renderList);
  auto* renderInfo =
      renderCommand->add_subcommand("info", "An info view: the notice screens show instead");
  renderInfo->add_option("--kind", render.kind, "error | update | empty")
      ->required()
      ->check(CLI::IsMember({"error", "update", "empty"}));
  addRenderOutputs(renderInfo);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // --help and --version end here too, with 0.
    int code = app.exit(error);
    return code == 0 ? kExitOk : kExitUsage;
  }

  if (*configureCommand) {
    if (auto refused = applyKey("configure", configureKey, configure.applicationKey))
      return *refused;
    configure.dataDir = dataDir;
    return runConfigure(configure);
  }
  if (*runCommand) {
    if (auto refused = applyKey("run", runKey, run.applicationKey, &run.applicationKeyOrigin))
      return *refused;
    run.dataDir = dataDir;
    return runRun(run);
  }
  for (auto [command, print] : {std::pair{settingsCommand, &runSettings},
                                {eventsCommand, &runEvents},
                                {campaignsCommand, &runCampaigns},
                                {beaconsCommand, &runBeacons}}) {
    if (!*command) continue;
    if (auto refused = refuseMissing(command->get_name().c_str(), dataDir)) return *refused;
    return print(dataDir);
  }
  if (*renderCommand) {
    render.screen = *renderPage ? "page" : *renderWeb ? "web" : *renderList ? "list" : "info";
    if (render.screen != "info") {
      if (auto refused = refuseMissing("render", dataDir)) return *refused;
    }
    render.dataDir = dataDir;
    return runRender(render);
  }
  if (*scanCommand) return runScan(scan);
  if (*replayCommand) {
    replay.dataDir = dataDir;
    return runReplay(replay);
  }
  record.dataDir = dataDir;
  return runRecordEvent(record);
}
