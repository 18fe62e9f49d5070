#pragma once

/// @file
/// The notification a user clicked, as a host that receives clicks itself
/// hands it to VicinixNotificationClient::notificationTapped.

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vicinix {

/// A picture shown with a notification: a file the notification server can read.
struct NotificationAttachment {
  std::string identifier;  ///< Unique per request; a new one with the same identifier replaces it.
  std::filesystem::path file;  ///< The picture, readable by the notification server.
  bool operator==(const NotificationAttachment&) const = default;  ///< Field by field.
};

/// What a notification says, and the user info the SDK finds its campaign by.
struct NotificationContent {
  std::string title;          ///< The first line.
  std::string body;           ///< The text below it.
  bool defaultSound = false;  ///< Plays the desktop's notification sound.
  std::map<std::string, std::string>
      userInfo;  ///< What the SDK finds the campaign by ("campaignID").
  std::vector<NotificationAttachment> attachments;              ///< Pictures shown with it.
  bool operator==(const NotificationContent&) const = default;  ///< Field by field.
};

/// A notification to show once, `triggerDelay` seconds after it was added. A
/// request with the identifier of a pending or shown one replaces it.
struct NotificationRequest {
  std::string identifier;  ///< Unique per request; a new one with the same identifier replaces it.
  NotificationContent content;                                  ///< What it shows.
  double triggerDelay = 0;                                      ///< Seconds from add to showing.
  bool operator==(const NotificationRequest&) const = default;  ///< Field by field.
};

/// The user acted on a shown notification ("default" is a plain click).
struct NotificationResponse {
  NotificationRequest request;               ///< The notification acted on.
  std::string actionIdentifier = "default";  ///< The action chosen.
};

}  // namespace vicinix
