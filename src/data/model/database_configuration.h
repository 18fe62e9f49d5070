#pragma once

#include <cstdint>
#include <filesystem>

namespace vicinix {

// Where and how the SDK's database is opened.
struct DatabaseConfiguration {
  std::filesystem::path fileURL;
  uint64_t schemaVersion = 0;
  bool readOnly = false;
};

}  // namespace vicinix
