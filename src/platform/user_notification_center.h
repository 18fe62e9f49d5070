#pragma once

#include <vicinix/notification_response.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace vicinix {

enum class NotificationAuthorizationStatus : int {
  notDetermined = 0,
  denied = 1,
  authorized = 2,
};

// Option bits of requestAuthorization, numbered as the phone platforms number them.
enum NotificationAuthorizationOption : int {
  notificationBadge = 1,
  notificationSound = 2,
  notificationAlert = 4,
};

// The desktop's notification service. Completions and the response handler
// may run on any thread; callers hop to their own queue.
class UserNotificationCenter {
 public:
  virtual ~UserNotificationCenter() = default;

  // `options` is a mask of NotificationAuthorizationOption. Granted when a
  // notification server is there to show them.
  virtual void requestAuthorization(int options, std::function<void(bool granted)> completion) = 0;
  virtual void getNotificationSettings(
      std::function<void(NotificationAuthorizationStatus)> completion) = 0;
  // `completion` gets the error in words, or nothing when the request was taken.
  virtual void add(const NotificationRequest& request,
                   std::function<void(std::optional<std::string> error)> completion) = 0;
  // Where callers write the pictures they attach. A picture handed over
  // from there is the centre's: it removes it once it needs it no more.
  virtual std::filesystem::path attachmentDirectory() {
    std::error_code ignored;
    return std::filesystem::temp_directory_path(ignored);
  }
  // An attachment for `file`; nothing, with the reason in `error`, when the
  // file cannot be shown (missing, unreadable).
  virtual std::optional<NotificationAttachment> makeAttachment(const std::string& identifier,
                                                               const std::filesystem::path& file,
                                                               std::string& error) = 0;
  // Where clicks go. The host installs it and forwards each response to
  // VicinixNotificationClient::notificationTapped. Replaces the previous one.
  virtual void setResponseHandler(std::function<void(const NotificationResponse&)> handler) = 0;
};

}  // namespace vicinix
