#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
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
  // Writes `data` as `identifier` to a fresh folder in the notification
  // centre's attachment directory and makes the attachment of it; nothing on
  // failure.
  std::optional<NotificationAttachment> createImageAttachment(const std::string& identifier,
                                                              const std::vector<uint8_t>& data);

 private:
  // A scheduled notification's place under the daily limit, held from the
  // limit check until it is counted, or until nothing can show it any more
  // (the last copy of its callbacks is gone). Any thread.
  class Place {
   public:
    explicit Place(std::shared_ptr<std::atomic<int64_t>> held);
    ~Place() { release(); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    // True for the first caller only.
    bool release();

   private:
    std::shared_ptr<std::atomic<int64_t>> held_;
    std::atomic<bool> released_{false};
  };

  void add(NotificationRequest request, std::shared_ptr<Place> place);
  void countNotification();

  Sdk& sdk_;
  // Scheduled, not yet counted nor given up: a picture still downloading, a
  // request on its way to the centre.
  std::shared_ptr<std::atomic<int64_t>> notYetCounted_ = std::make_shared<std::atomic<int64_t>>(0);
};

}  // namespace vicinix
