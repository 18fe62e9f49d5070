#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vicinix::host {

// Where `run` and `configure` take the application key from. A key on the
// command line shows in `ps` to every user of the machine, so a service
// gives it as a file or in the environment.
struct ApplicationKeySources {
  std::optional<std::string> option;          // --app-key
  std::optional<std::filesystem::path> file;  // --app-key-file
  static constexpr const char* kEnvironment = "VICINIX_APP_KEY";
};

struct ApplicationKey {
  std::string key;
  std::string origin;   // where it came from, for the start line: never the key itself
  std::string warning;  // set when the key file is readable by every user
};

// An option wins over the environment (--app-key-file and --app-key exclude
// each other). Of a file, the first line counts, without surrounding blanks.
// Nullopt, with `problem` set, when there is no key or the file cannot be read.
std::optional<ApplicationKey> resolveApplicationKey(const ApplicationKeySources& sources,
                                                    std::string& problem);

}  // namespace vicinix::host
