#include "platform/fake/fake_user_notification_center.h"

#include <filesystem>

namespace vicinix {

FakeUserNotificationCenter::FakeUserNotificationCenter(std::shared_ptr<DispatchQueue> mainQueue)
    : mainQueue_(std::move(mainQueue)) {}

void FakeUserNotificationCenter::requestAuthorization(int options,
                                                      std::function<void(bool)> completion) {
  std::lock_guard lock(mutex_);
  authorizationRequests_.push_back(options);
  mainQueue_->async(
      [completion = std::move(completion), granted = granted_] { completion(granted); });
}

void FakeUserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
  std::lock_guard lock(mutex_);
  mainQueue_->async([completion = std::move(completion), status = status_] { completion(status); });
}

void FakeUserNotificationCenter::add(const NotificationRequest& request,
                                     std::function<void(std::optional<std::string>)> completion) {
  std::lock_guard lock(mutex_);
  if (!addError_) requests_.push_back(request);
  mainQueue_->async([completion = std::move(completion), error = addError_] { completion(error); });
}

std::optional<NotificationAttachment> FakeUserNotificationCenter::makeAttachment(
    const std::string& identifier, const std::filesystem::path& file, std::string& error) {
  std::error_code ignored;
  if (attachmentsFail_ || !std::filesystem::is_regular_file(file, ignored)) {
    error = "The attachment file cannot be read: " + file.string();
    return std::nullopt;
  }
  return NotificationAttachment{identifier, file};
}

void FakeUserNotificationCenter::setResponseHandler(
    std::function<void(const NotificationResponse&)> handler) {
  std::lock_guard lock(mutex_);
  responseHandler_ = std::move(handler);
}

std::vector<NotificationRequest> FakeUserNotificationCenter::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<int> FakeUserNotificationCenter::authorizationRequests() const {
  std::lock_guard lock(mutex_);
  return authorizationRequests_;
}

bool FakeUserNotificationCenter::click(const std::string& identifier) {
  std::function<void(const NotificationResponse&)> handler;
  std::optional<NotificationResponse> response;
  {
    std::lock_guard lock(mutex_);
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it) {
      if (it->identifier == identifier) {
        response = NotificationResponse{.request = *it};
        break;
      }
    }
    handler = responseHandler_;
  }
  if (!response) return false;
  if (handler) handler(*response);
  return true;
}

}  // namespace vicinix
