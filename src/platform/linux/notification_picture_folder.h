#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/log.h"

namespace vicinix {

// Where one notification centre keeps the pictures it is handed: a private
// folder of its own below a root shared by every process of the host, locked
// for as long as the folder lives. Making one removes the folders whose
// process is gone (a crash, a kill, a power cut), so pictures never pile up;
// destroying it removes its own with whatever is still in it.
class NotificationPictureFolder {
 public:
  // Makes `root` owner-only if it has to create it. Without a usable root
  // (empty, read-only) the folder goes under the system's temporary directory.
  explicit NotificationPictureFolder(const std::filesystem::path& root,
                                     std::shared_ptr<Log> log = nullptr);
  ~NotificationPictureFolder();
  NotificationPictureFolder(const NotificationPictureFolder&) = delete;
  NotificationPictureFolder& operator=(const NotificationPictureFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // Removes `file`, and the folder it was written in when that is emptied,
  // if it lies in this folder; anything else belongs to someone else. Any thread.
  void remove(const std::filesystem::path& file) const;

  // The root for a host: $XDG_RUNTIME_DIR/<appName>/notification-pictures
  // (memory only, private to the user, gone at logout) when the session has
  // one, else <library>/Caches/Notifications.
  static std::filesystem::path rootFor(const std::string& appName,
                                       const std::filesystem::path& library);

 private:
  void sweep(const std::filesystem::path& root);

  std::filesystem::path path_;
  int lock_ = -1;
};

}  // namespace vicinix
