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

// The freedesktop convention backup tools (Déjà Dup among them) honour; the
// database is rebuilt from the backend, so a backup would only carry stale rows.
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
  if (error) {
    std::filesystem::filesystem_error description("cannot create directory", directory, error);
    Sdk::current().log().systemLine(std::string("Unable to create directory ") +
                                    description.what());
  }
}

}  // namespace vicinix
