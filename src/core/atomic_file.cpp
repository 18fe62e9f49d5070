#include "core/atomic_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace vicinix {
namespace {

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t wrote = write(fd, bytes.data(), bytes.size());
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(wrote));
  }
  return true;
}

// Clean-up calls must not overwrite the errno of the step that failed.
bool failKeepingErrno(const std::string& temporary) {
  int saved = errno;
  unlink(temporary.c_str());
  errno = saved;
  return false;
}

}  // namespace

bool writeFileAtomically(const std::filesystem::path& file, std::string_view bytes) {
  std::filesystem::path directory = file.parent_path();
  if (directory.empty()) directory = ".";
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);

  std::string temporary = (directory / ("." + file.filename().string() + ".XXXXXX")).string();
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  bool written = writeAll(fd, bytes) && fsync(fd) == 0;
  if (!written) {
    int saved = errno;
    close(fd);
    errno = saved;
    return failKeepingErrno(temporary);
  }
  if (close(fd) != 0 || rename(temporary.c_str(), file.c_str()) != 0) {
    return failKeepingErrno(temporary);
  }
  // Without this the rename itself may not survive a power cut.
  int directoryFd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directoryFd < 0) return false;
  bool synced = fsync(directoryFd) == 0;
  close(directoryFd);
  return synced;
}

}  // namespace vicinix
