#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vicinix::host {

struct ConfigureOptions {
  std::string endpoint;
  std::string applicationKey;
  std::filesystem::path dataDir;
  bool debug = false;
};

struct RecordOptions {
  std::filesystem::path dataDir;
  std::string type;
  std::optional<std::string> campaignId;
  std::optional<std::string> beacon;  // NAMESPACE:INSTANCE
};

struct RunOptions {
  std::string applicationKey;
  std::string applicationKeyOrigin;  // the file, variable or option it came from
  std::string endpoint;
  std::filesystem::path dataDir;
  std::string source = "bluez";  // bluez[:ADAPTER][,refresh=S] | hci[:N] | replay:FILE
  double replaySpeed = 1;
  std::optional<double> duration;  // seconds; until SIGINT or SIGTERM when absent
  bool debug = false;
  bool gui = false;  // the campaign list in a desktop window, until it is closed
};

struct ReplayOptions {
  std::filesystem::path file;
  std::filesystem::path dataDir;
  bool json = false;
};

struct ScanOptions {
  std::string source = "bluez";  // as for run
  double seconds = 60;
};

struct RenderOptions {
  std::string screen;      // "page", "web", "list" or "info"
  std::string campaignId;  // of the page
  int pageWait = 30;       // seconds a web page may take to load and paint
  std::string kind;        // of the info view: error, update or empty
  std::filesystem::path dataDir;
  std::string size = "390x844";  // the screen, in points
  std::optional<std::filesystem::path> png;
  std::optional<std::filesystem::path> layout;  // the drawn view tree as JSON
};

// Each returns the process exit code, from the one table in exit_code.h.
int runConfigure(const ConfigureOptions& options);
int runRun(const RunOptions& options);
int runSettings(const std::filesystem::path& dataDir);
int runEvents(const std::filesystem::path& dataDir);
int runCampaigns(const std::filesystem::path& dataDir);
int runBeacons(const std::filesystem::path& dataDir);
int runRecordEvent(const RecordOptions& options);
int runReplay(const ReplayOptions& options);
int runRender(const RenderOptions& options);
int runScan(const ScanOptions& options);

}  // namespace vicinix::host
