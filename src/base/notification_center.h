#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vicinix {

class Sdk;

// In-process named notifications the SDK posts and the host may observe.
// Observers run synchronously on the posting thread, in the order they were added.
class NotificationCenter {
 public:
  struct Notification {
    std::string name;
    std::any object;
  };
  using Observer = std::function<void(const Notification&)>;
  using Token = uint64_t;

  explicit NotificationCenter(Sdk&) {}
  static NotificationCenter& defaultCenter();

  Token addObserver(const std::string& name, Observer observer);
  void removeObserver(Token token);
  void post(const std::string& name, std::any object = {});

 private:
  struct Entry {
    Token token;
    std::string name;
    std::shared_ptr<Observer> observer;
  };
  std::mutex mutex_;
  Token nextToken_ = 1;
  std::vector<Entry> entries_;
};

}  // namespace vicinix
