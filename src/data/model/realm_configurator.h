#pragma once

#include <filesystem>

#include "data/model/database_configuration.h"

namespace vicinix {

// The one database configuration of the SDK: Library/Vicinix/Realm/vicinix.realm
// under the host's app-data directory.
class RealmConfigurator {
 public:
  static constexpr const char* fileName = "vicinix.realm";

  // Built once per SDK context; building it makes sure the directory exists.
  static const DatabaseConfiguration& vicinixConfiguration();
  static std::filesystem::path realmDirectory();
  // Creates the directory when nothing exists at its path, and marks it as
  // not to be backed up. A failure is logged; opening the database then fails.
  static void createRealmDirectoryIfNeeded();
};

}  // namespace vicinix
