#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/dispatch_queue.h"
#include "platform/linux/notification_picture_folder.h"
#include "platform/user_notification_center.h"

namespace vicinix::host {

// Notifications for a host without a desktop: each one, when it is due, is
// one line on standard output. Nothing can be clicked. Pictures wait in a
// folder of its own below `pictures` (see NotificationPictureFolder) until
// their line is printed or their request replaced.
class ConsoleNotificationCenter final : public UserNotificationCenter {
 public:
  explicit ConsoleNotificationCenter(std::shared_ptr<DispatchQueue> mainQueue,
                                     const std::filesystem::path& pictures = {});

  void requestAuthorization(int options, std::function<void(bool granted)> completion) override;
  void getNotificationSettings(
      std::function<void(NotificationAuthorizationStatus)> completion) override;
  void add(const NotificationRequest& request,
           std::function<void(std::optional<std::string> error)> completion) override;
  std::filesystem::path attachmentDirectory() override { return pictures_->path(); }
  std::optional<NotificationAttachment> makeAttachment(const std::string& identifier,
                                                       const std::filesystem::path& file,
                                                       std::string& error) override;
  void setResponseHandler(std::function<void(const NotificationResponse&)>) override {}

  // "notification: <title> | <body>" and the picture's name when there is one.
  static std::string line(const NotificationRequest& request);

 private:
  std::shared_ptr<DispatchQueue> mainQueue_;
  std::shared_ptr<const NotificationPictureFolder> pictures_;
  // Per identifier, the generation of the request last added: a replaced
  // request that is still waiting is not printed.
  std::shared_ptr<std::map<std::string, uint64_t>> pending_;
  uint64_t generation_ = 0;
};

}  // namespace vicinix::host
