#pragma once

#include <memory>
#include <string>
#include <thread>

#include "platform/linux/notification_picture_folder.h"
#include "platform/log.h"
#include "platform/user_notification_center.h"

namespace vicinix {

// Desktop notifications through org.freedesktop.Notifications on the session
// bus. The D-Bus work runs on a thread of its own with a private GLib context,
// so nothing depends on the host spinning a main loop; completions and the
// response handler run on that thread. Without a session bus or a
// notification server, authorisation is refused. Destroying the centre drops
// what is still waiting or on its way, and calls nothing after the destructor.
class FreedesktopNotificationCenter final : public UserNotificationCenter {
 public:
  // `appName` is what the desktop shows as the sender; `log`, if given, gets
  // one system line for each notification that could not be shown.
  // `pictures` is the root of the pictures' folders (see
  // NotificationPictureFolder::rootFor); without one they go under the
  // system's temporary directory, and only this centre's own are removed.
  explicit FreedesktopNotificationCenter(std::string appName = "vicinix",
                                         std::shared_ptr<Log> log = nullptr,
                                         const std::filesystem::path& pictures = {});
  ~FreedesktopNotificationCenter() override;
  FreedesktopNotificationCenter(const FreedesktopNotificationCenter&) = delete;
  FreedesktopNotificationCenter& operator=(const FreedesktopNotificationCenter&) = delete;

  void requestAuthorization(int options, std::function<void(bool granted)> completion) override;
  void getNotificationSettings(
      std::function<void(NotificationAuthorizationStatus)> completion) override;
  // Completes as soon as the request is queued, and sends it `triggerDelay`
  // seconds later: callers count what they added without waiting for the
  // server, so a burst of requests all see the earlier ones. A request whose
  // identifier is still waiting takes its place; one whose identifier is on
  // screen replaces it there. A failure to show comes later and goes to the
  // log. Only a click on a notification sent by this centre is reported.
  void add(const NotificationRequest& request,
           std::function<void(std::optional<std::string> error)> completion) override;
  // This centre's own picture folder. The pixels of a picture go in the
  // message itself, so a picture from here is removed as soon as the server
  // has answered; what is left goes with the centre, or at the next start
  // after a crash.
  std::filesystem::path attachmentDirectory() override;
  // Any thread. Checks the file is a readable regular file.
  std::optional<NotificationAttachment> makeAttachment(const std::string& identifier,
                                                       const std::filesystem::path& file,
                                                       std::string& error) override;
  // Any thread.
  void setResponseHandler(std::function<void(const NotificationResponse&)> handler) override;

 private:
  class Core;
  std::shared_ptr<const NotificationPictureFolder> pictures_;
  std::shared_ptr<Core> core_;
  std::thread thread_;
};

}  // namespace vicinix
