#include "base/atomic_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
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

constexpr std::string_view kTemporarySuffix = ".XXXXXX";

std::string temporaryPrefix(const std::filesystem::path& file) {
  return "." + file.filename().string();
}

std::string utcStamp() {
  std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
  return text;
}

}  // namespace

bool writeFileAtomically(const std::filesystem::path& file, std::string_view bytes) {
  std::filesystem::path directory = file.parent_path();
  if (directory.empty()) directory = ".";
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);

  std::string temporary =
      (directory / (temporaryPrefix(file) + std::string(kTemporarySuffix))).string();
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  // Held until the file has its final name: it tells a write under way from
  // the leftover of a killed one (removeAbandonedTemporaryFiles).
  bool written = flock(fd, LOCK_EX) == 0 && writeAll(fd, bytes) && fsync(fd) == 0 &&
                 rename(temporary.c_str(), file.c_str()) == 0;
  if (!written) {
    int saved = errno;
    close(fd);
    errno = saved;
    return failKeepingErrno(temporary);
  }
  if (close(fd) != 0) return false;
  // Without this the rename itself may not survive a power cut.
  int directoryFd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directoryFd < 0) return false;
  bool synced = fsync(directoryFd) == 0;
  close(directoryFd);
  return synced;
}

void removeAbandonedTemporaryFiles(const std::filesystem::path& file) {
  const std::string prefix = temporaryPrefix(file);
  std::error_code error;
  std::filesystem::path directory = file.parent_path().empty() ? "." : file.parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    std::string name = entry.path().filename().string();
    if (name.size() != prefix.size() + kTemporarySuffix.size() || !name.starts_with(prefix)) {
      continue;
    }
    int fd = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) continue;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) unlink(entry.path().c_str());
    close(fd);
  }
}

std::optional<std::filesystem::path> moveFileAside(const std::filesystem::path& file) {
  std::string base = file.string() + ".corrupt-" + utcStamp();
  for (int attempt = 1; attempt < 1000; ++attempt) {
    std::string candidate = attempt == 1 ? base : base + "-" + std::to_string(attempt);
    if (renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, candidate.c_str(), RENAME_NOREPLACE) == 0) {
      return candidate;
    }
    if (errno == EEXIST) continue;
    if (errno != EINVAL) return std::nullopt;
    // Some file systems cannot promise "no replace"; checking first is the
    // next best thing for a file only this process writes.
    if (access(candidate.c_str(), F_OK) == 0) continue;
    if (rename(file.c_str(), candidate.c_str()) == 0) return candidate;
    return std::nullopt;
  }
  errno = EEXIST;
  return std::nullopt;
}

}  // namespace vicinix
