#include "console_notification_center.h"

#include <chrono>
#include <iostream>
#include <map>

namespace vicinix::host {

ConsoleNotificationCenter::ConsoleNotificationCenter(std::shared_ptr<DispatchQueue> mainQueue,
                                                     const std::filesystem::path& pictures)
    : mainQueue_(std::move(mainQueue)),
      pictures_(std::make_shared<NotificationPictureFolder>(pictures)),
      pending_(std::make_shared<std::map<std::string, uint64_t>>()) {}

void ConsoleNotificationCenter::requestAuthorization(int, std::function<void(bool)> completion) {
  mainQueue_->async([completion = std::move(completion)] { completion(true); });
}

void ConsoleNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
  mainQueue_->async([completion = std::move(completion)] {
    completion(NotificationAuthorizationStatus::authorized);
  });
}

void ConsoleNotificationCenter::add(const NotificationRequest& request,
                                    std::function<void(std::optional<std::string>)> completion) {
  uint64_t generation = ++generation_;
  (*pending_)[request.identifier] = generation;
  auto delay =
      std::chrono::duration_cast<Duration>(std::chrono::duration<double>(request.triggerDelay));
  mainQueue_->asyncAfter(delay, [pending = pending_, pictures = pictures_, request, generation] {
    auto found = pending->find(request.identifier);
    bool current = found != pending->end() && found->second == generation;
    if (current) {
      pending->erase(found);
      std::cout << line(request) << std::endl;
    }
    // Printed or replaced, nobody looks at the picture again.
    for (const auto& attachment : request.content.attachments) pictures->remove(attachment.file);
  });
  mainQueue_->async([completion = std::move(completion)] { completion(std::nullopt); });
}

std::optional<NotificationAttachment> ConsoleNotificationCenter::makeAttachment(
    const std::string& identifier, const std::filesystem::path& file, std::string& error) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored)) {
    error = "no such file: " + file.string();
    return std::nullopt;
  }
  return NotificationAttachment{identifier, file};
}

std::string ConsoleNotificationCenter::line(const NotificationRequest& request) {
  std::string text = "notification: " + request.content.title + " | " + request.content.body;
  if (!request.content.attachments.empty()) {
    text += " [picture " + request.content.attachments.front().identifier + "]";
  }
  return text;
}

}  // namespace vicinix::host
