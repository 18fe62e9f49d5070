#include "base/private_directory.h"

#include <system_error>

#if __has_include(<sys/xattr.h>)
#include <sys/xattr.h>
#endif

#include "base/sdk.h"

namespace vicinix {
namespace {

// The freedesktop way of saying "do not back this up".
void markExcludedFromBackup([[maybe_unused]] const std::filesystem::path& directory) {
#if __has_include(<sys/xattr.h>)
  static constexpr char kValue[] = "false";
  // Filesystems without user xattrs refuse this; the directory works all the same.
  (void)setxattr(directory.c_str(), "user.xdg.robots.backup", kValue, sizeof kValue - 1, 0);
#endif
}

}  // namespace

void createPrivateDirectoryIfNeeded(const std::filesystem::path& directory) {
  std::error_code error;
  if (std::filesystem::exists(directory, error)) return;
  if (std::filesystem::create_directories(directory, error)) {
    markExcludedFromBackup(directory);
    return;
  }
  // Without the directory its store stays inert; the SDK runs on without it
  // rather than stopping the host.
  if (error) {
    Sdk::current().log().systemLine("Unable to create directory " + error.message() + " (" +
                                    directory.string() + ")");
  }
}

}  // namespace vicinix
