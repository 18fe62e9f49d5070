#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "data/model/campaign.h"
#include "platform/user_notification_center.h"

namespace vicinix {

class Sdk;

// Turns a campaign into a desktop notification (with its picture when it has
// one) under the daily limit, counts what was shown, keeps the stored
// permission current, and opens the campaign when a notification is clicked.
class VicinixNotificationClient {
 public:
  static constexpr const char* identifierPrefix = "CampaignNotification_";
  static constexpr const char* campaignIDKey = "campaignID";

  explicit VicinixNotificationClient(Sdk& sdk);
  static VicinixNotificationClient& shared();

  // Main queue.
  void scheduleNotification(const Campaign& campaign);
  // The host forwards each click here.
  static void notificationTapped(const NotificationResponse& response);
  void checkNotificationSettings();
  void requestNotificationAuthorization();
  // Badge and day count after a notification was taken.
  void completeNotification();
  // Writes `data` to a fresh temporary directory as `identifier` and makes
  // the attachment of it; nothing on failure.
  std::optional<NotificationAttachment> createImageAttachment(const std::string& identifier,
                                                              const std::vector<uint8_t>& data);

 private:
  void add(NotificationRequest request);

  Sdk& sdk_;
};

}  // namespace vicinix
