// vicinix-host: the reference host of the Vicinix SDK. It runs the SDK against
// a backend, shows what the SDK stored, replays Bluetooth captures and draws
// the SDK's screens offscreen.

#include <libintl.h>

#include <CLI/CLI.hpp>
#include <clocale>

#include "commands.h"
#include "host_context.h"

int main(int argc, char** argv) {
  using namespace vicinix::host;
  // The SDK's screens ask the host for their titles ("Kampaně") through
  // gettext. Only the messages follow the user's locale: numbers stay in the
  // C locale the JSON and GraphQL texts are written in.
  std::setlocale(LC_MESSAGES, "");
  std::setlocale(LC_CTYPE, "");
  bindtextdomain("vicinix-host", VICINIX_HOST_LOCALEDIR);
  bind_textdomain_codeset("vicinix-host", "UTF-8");
  textdomain("vicinix-host");
  CLI::App app{"vicinix-host: the reference host of the Vicinix proximity-marketing SDK"};
  app.require_subcommand(1);
  std::filesystem::path dataDir = defaultDataDirectory();
  auto addDataDir = [&dataDir](CLI::App* command) {
    command->add_option("--data-dir", dataDir, "The host's app-data directory")
        ->capture_default_str();
  };

  ConfigureOptions configure;
  auto* configureCommand = app.add_subcommand(
      "configure", "Fetch the remote configuration, upload stored events, print the settings");
  configureCommand->add_option("--endpoint", configure.endpoint, "The backend's GraphQL URL")
      ->required();
  configureCommand->add_option("--app-key", configure.applicationKey, "The application key")
      ->required();
  configureCommand->add_flag("--debug", configure.debug, "Print the SDK's debug lines");
  addDataDir(configureCommand);

  RunOptions run;
  auto* runCommand = app.add_subcommand("run", "Run the SDK headless until stopped");
  runCommand->add_option("--app-key", run.applicationKey, "The application key")->required();
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

  CLI11_PARSE(app, argc, argv);

  if (*configureCommand) {
    configure.dataDir = dataDir;
    return runConfigure(configure);
  }
  if (*runCommand) {
    run.dataDir = dataDir;
    return runRun(run);
  }
  if (*settingsCommand) return runSettings(dataDir);
  if (*eventsCommand) return runEvents(dataDir);
  if (*campaignsCommand) return runCampaigns(dataDir);
  if (*beaconsCommand) return runBeacons(dataDir);
  if (*renderCommand) {
    render.screen = *renderPage ? "page" : *renderWeb ? "web" : *renderList ? "list" : "info";
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
