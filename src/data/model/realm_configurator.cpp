#include "data/model/realm_configurator.h"

#include <system_error>

#if __has_include(<sys/xattr.h>)
#include <sys/xattr.h>
#endif

#include "core/sdk.h"

namespace vicinix {
namespace {

// Kept per SDK context, so a fresh context (a test's) gets its own directory.
class ConfigurationHolder {
 public:
  explicit ConfigurationHolder(Sdk&) {
    RealmConfigurator::createRealmDirectoryIfNeeded();
    configuration.fileURL = RealmConfigurator::realmDirectory() / "vicinix.realm";
  }

  DatabaseConfiguration configuration;
};

// The freedesktop way of saying "do not back this up": the database is rebuilt
// from the backend, so a backup would only carry stale rows around.
void markExcludedFromBackup([[maybe_unused]] const std::filesystem::path& directory) {
#if __has_include(<sys/xattr.h>)
  static constexpr char kValue[] = "false";
  // Filesystems without user xattrs refuse this; the directory works all the same.
  (void)setxattr(directory.c_str(), "user.xdg.robots.backup", kValue, sizeof kValue - 1, 0);
#endif
}

}  // namespace

const DatabaseConfiguration& RealmConfigurator::vicinixConfiguration() {
  return Sdk::current().shared<ConfigurationHolder>().configuration;
}

std::filesystem::path RealmConfigurator::realmDirectory() {
  return Sdk::current().directories().library / "Vicinix" / "Realm";
}

void RealmConfigurator::createRealmDirectoryIfNeeded() {
  std::filesystem::path directory = realmDirectory();
  std::error_code error;
  if (std::filesystem::exists(directory, error)) return;
  if (std::filesystem::create_directories(directory, error)) {
    markExcludedFromBackup(directory);
    return;
  }
  // Without the directory the database cannot open and every store stays
  // inert; the SDK runs on without persistence rather than stopping the host.
  if (error) {
    Sdk::current().log().systemLine("Unable to create directory " + error.message() + " (" +
                                    directory.string() + ")");
  }
}

}  // namespace vicinix
