#pragma once

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

// A picture shown with a notification: a file the notification server can read.
struct NotificationAttachment {
  std::string identifier;
  std::filesystem::path file;
  bool operator==(const NotificationAttachment&) const = default;
};

struct NotificationContent {
  std::string title;
  std::string body;
  bool defaultSound = false;
  std::map<std::string, std::string> userInfo;
  std::vector<NotificationAttachment> attachments;
  bool operator==(const NotificationContent&) const = default;
};

// A notification to show once, `triggerDelay` seconds after it was added. A
// request with the identifier of a pending or shown one replaces it.
struct NotificationRequest {
  std::string identifier;
  NotificationContent content;
  double triggerDelay = 0;
  bool operator==(const NotificationRequest&) const = default;
};

// The user acted on a shown notification ("default" is a plain click).
struct NotificationResponse {
  NotificationRequest request;
  std::string actionIdentifier = "default";
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
