#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/dispatch_queue.h"
#include "platform/user_notification_center.h"

namespace vicinix {

// A notification server the test controls: it records every request it is
// given and answers on the main queue, as a real server answers from its own
// thread. Requests with a known identifier replace the earlier one.
class FakeUserNotificationCenter final : public UserNotificationCenter {
 public:
  explicit FakeUserNotificationCenter(std::shared_ptr<DispatchQueue> mainQueue);

  void requestAuthorization(int options, std::function<void(bool granted)> completion) override;
  void getNotificationSettings(
      std::function<void(NotificationAuthorizationStatus)> completion) override;
  void add(const NotificationRequest& request,
           std::function<void(std::optional<std::string> error)> completion) override;
  std::optional<NotificationAttachment> makeAttachment(const std::string& identifier,
                                                       const std::filesystem::path& file,
                                                       std::string& error) override;
  void setResponseHandler(std::function<void(const NotificationResponse&)> handler) override;

  void setGranted(bool granted) { granted_ = granted; }
  void setStatus(NotificationAuthorizationStatus status) { status_ = status; }
  // Every add() fails with this text while set.
  void setAddError(std::optional<std::string> error) { addError_ = std::move(error); }
  void setAttachmentsFail(bool fail) { attachmentsFail_ = fail; }

  // Every request taken, in order, replaced ones included.
  std::vector<NotificationRequest> requests() const;
  std::vector<int> authorizationRequests() const;
  // Plays a click on the last request with `identifier`; false if there is none.
  bool click(const std::string& identifier);

 private:
  std::shared_ptr<DispatchQueue> mainQueue_;
  mutable std::mutex mutex_;
  bool granted_ = true;
  NotificationAuthorizationStatus status_ = NotificationAuthorizationStatus::authorized;
  std::optional<std::string> addError_;
  bool attachmentsFail_ = false;
  std::vector<NotificationRequest> requests_;
  std::vector<int> authorizationRequests_;
  std::function<void(const NotificationResponse&)> responseHandler_;
};

}  // namespace vicinix
