#include "data/model/realm_configurator.h"

#include "base/private_directory.h"
#include "base/sdk.h"

namespace vicinix {
namespace {

// Kept per SDK context, so a fresh context (a test's) gets its own directory.
class ConfigurationHolder {
 public:
  explicit ConfigurationHolder(Sdk&) {
    RealmConfigurator::createRealmDirectoryIfNeeded();
    configuration.fileURL = RealmConfigurator::realmDirectory() / RealmConfigurator::fileName;
  }

  DatabaseConfiguration configuration;
};

}  // namespace

const DatabaseConfiguration& RealmConfigurator::vicinixConfiguration() {
  return Sdk::current().shared<ConfigurationHolder>().configuration;
}

std::filesystem::path RealmConfigurator::realmDirectory() {
  return Sdk::current().directories().library / "Vicinix" / "Realm";
}

void RealmConfigurator::createRealmDirectoryIfNeeded() {
  createPrivateDirectoryIfNeeded(realmDirectory());
}

}  // namespace vicinix
