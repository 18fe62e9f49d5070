#include "application_key.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace vicinix::host {
namespace {

std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\n\f\v";
  size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

}  // namespace

std::optional<ApplicationKey> resolveApplicationKey(const ApplicationKeySources& sources,
                                                    std::string& problem) {
  ApplicationKey result;
  if (sources.file) {
    const std::string name = sources.file->string();
    std::ifstream in(*sources.file);
    std::string line;
    if (!in || (!std::getline(in, line) && !in.eof())) {
      problem = "cannot read the key file " + name + ": " + std::strerror(errno);
      return std::nullopt;
    }
    result.key = trimmed(line);
    result.origin = name;
    if (result.key.empty()) {
      problem = "the key file " + name + " has no key on its first line";
      return std::nullopt;
    }
    // Warned about, not refused: the key also travels in every web campaign's
    // address, so it is not worth a kiosk that stays down over a chmod.
    struct stat status {};
    if (stat(sources.file->c_str(), &status) == 0 && (status.st_mode & S_IROTH)) {
      result.warning = "the key file " + name + " can be read by every user; chmod 600 it";
    }
    return result;
  }
  if (sources.option) {
    result.key = *sources.option;
    result.origin = "--app-key";
  } else if (const char* value = std::getenv(ApplicationKeySources::kEnvironment)) {
    result.key = trimmed(value);
    result.origin = ApplicationKeySources::kEnvironment;
  }
  if (result.key.empty()) {
    problem = std::string("no application key: give --app-key-file FILE or set ") +
              ApplicationKeySources::kEnvironment;
    return std::nullopt;
  }
  return result;
}

}  // namespace vicinix::host
