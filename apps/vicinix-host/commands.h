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

// Each returns the process exit code.
int runConfigure(const ConfigureOptions& options);
int runSettings(const std::filesystem::path& dataDir);
int runEvents(const std::filesystem::path& dataDir);
int runRecordEvent(const RecordOptions& options);

}  // namespace vicinix::host
