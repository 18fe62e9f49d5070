#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/sdk.h"

namespace vicinix::test {

// A real Linux SDK context (GLib main context, libcurl, the settings file,
// SQLite) over a temporary app-data directory, installed for its lifetime.
class LinuxSdk {
 public:
  // `requestTimeout` replaces the client's 60 s, so a silent backend can be
  // tested without waiting a minute.
  explicit LinuxSdk(const std::string& endpoint,
                    std::optional<std::chrono::milliseconds> requestTimeout = std::nullopt);
  ~LinuxSdk();

  Sdk& sdk() { return *sdk_; }
  const std::filesystem::path& appData() const { return appData_; }
  // Pumps the main loop until `done` holds; false after `timeout`.
  bool runUntil(const std::function<bool()>& done,
                std::chrono::milliseconds timeout = std::chrono::seconds(20));

 private:
  std::filesystem::path appData_;
  std::shared_ptr<Sdk> sdk_;
  std::unique_ptr<ScopedSdk> scope_;
};

struct CommandResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs a command line through the shell and collects its output.
CommandResult runCommand(const std::string& commandLine);

}  // namespace vicinix::test
