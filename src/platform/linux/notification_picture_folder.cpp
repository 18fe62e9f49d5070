#include "platform/linux/notification_picture_folder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <system_error>

namespace vicinix {
namespace {

namespace fs = std::filesystem;

// Held while a process sweeps the root and makes its own folder, so that no
// sweep sees a folder between its creation and its lock.
constexpr const char* kRootLock = ".lock";

int openLocked(const fs::path& path, int flags, int operation) {
  int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return -1;
  if (::flock(fd, operation) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

bool isPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

// An owner-only folder of our own below `root`, or nothing.
std::optional<fs::path> makeFolderIn(const fs::path& root) {
  std::string pattern = (root / "XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) return std::nullopt;
  return fs::path(pattern);
}

}  // namespace

NotificationPictureFolder::NotificationPictureFolder(const fs::path& root,
                                                     std::shared_ptr<Log> log) {
  std::error_code error;
  if (!root.empty()) {
    bool made = fs::create_directories(root, error);
    // Other users must not read what the campaigns show this one.
    if (made) fs::permissions(root, fs::perms::owner_all, error);
  }
  int rootLock =
      root.empty() || error ? -1 : openLocked(root / kRootLock, O_RDWR | O_CREAT, LOCK_EX);
  if (rootLock >= 0) {
    sweep(root);
    if (auto folder = makeFolderIn(root)) {
      path_ = *folder;
      lock_ = openLocked(path_, O_RDONLY | O_DIRECTORY, LOCK_EX | LOCK_NB);
    }
    ::close(rootLock);
  }
  if (path_.empty()) {
    if (log && !root.empty()) {
      log->systemLine("cannot keep notification pictures in " + root.string() + ": " +
                      (error ? error.message() : std::string(std::strerror(errno))));
    }
    // Unlocked, so the next start of the host does not know it; it is
    // removed with this object all the same.
    auto folder = makeFolderIn(fs::temp_directory_path(error));
    if (folder) path_ = *folder;
  }
}

NotificationPictureFolder::~NotificationPictureFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
  if (lock_ >= 0) ::close(lock_);
}

void NotificationPictureFolder::sweep(const fs::path& root) {
  std::error_code error;
  for (fs::directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename() == kRootLock) continue;
    std::error_code ignored;
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      // A folder whose lock we can take has no process left.
      int fd = openLocked(entry->path(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW, LOCK_EX | LOCK_NB);
      if (fd < 0) continue;
      fs::remove_all(entry->path(), ignored);
      ::close(fd);
    } else {
      fs::remove(entry->path(), ignored);
    }
  }
}

void NotificationPictureFolder::remove(const fs::path& file) const {
  if (path_.empty()) return;
  fs::path normal = file.lexically_normal();
  fs::path relative = normal.lexically_relative(path_);
  if (relative.empty() || !isPlainName(relative.begin()->string())) return;
  std::error_code ignored;
  fs::remove(normal, ignored);
  // The folder the picture was written in, when it is not ours itself.
  fs::path parent = normal.parent_path();
  if (parent.lexically_relative(path_) != ".") fs::remove(parent, ignored);
}

fs::path NotificationPictureFolder::rootFor(const std::string& appName, const fs::path& library) {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  // The base-directory rules say to ignore a relative value.
  if (runtime != nullptr && runtime[0] == '/') {
    return fs::path(runtime) / (isPlainName(appName) ? appName : "vicinix") /
           "notification-pictures";
  }
  return library / "Caches" / "Notifications";
}

}  // namespace vicinix
