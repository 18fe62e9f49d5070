#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

namespace vicinix::testing {

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
struct TemporaryDirectory {
  TemporaryDirectory() = default;
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  const std::filesystem::path path = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "vicinix-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    return std::filesystem::path(pattern);
  }();
};

}  // namespace vicinix::testing
