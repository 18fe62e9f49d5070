#include <vicinix/notification_center.h>

#include <algorithm>

#include "base/sdk.h"

namespace vicinix {

NotificationCenter& NotificationCenter::defaultCenter() {
  return Sdk::current().shared<NotificationCenter>();
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name,
                                                          Observer observer) {
  std::lock_guard lock(mutex_);
  Token token = nextToken_++;
  entries_.push_back({token, name, std::make_shared<Observer>(std::move(observer))});
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [token](const Entry& entry) { return entry.token == token; });
}

void NotificationCenter::post(const std::string& name, std::any object) {
  std::vector<std::shared_ptr<Observer>> observers;
  {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry.name == name) observers.push_back(entry.observer);
    }
  }
  Notification notification{name, std::move(object)};
  // Called outside the lock so an observer may add or remove observers.
  for (const auto& observer : observers) (*observer)(notification);
}

}  // namespace vicinix
