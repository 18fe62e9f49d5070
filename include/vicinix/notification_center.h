#pragma once

/// @file
/// The in-process notifications the SDK posts.

#include <vicinix/export.h>

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vicinix {

class Sdk;

/// In-process named notifications the SDK posts and the host may observe
/// (the names are Vicinix::bluetoothStatusChanged and its neighbours).
/// Observers run synchronously on the posting thread, in the order they were added.
class VICINIX_EXPORT NotificationCenter {
 public:
  /// One posted notification: its name and what the poster attached.
  struct Notification {
    std::string name;  ///< What the poster called it.
    std::any object;   ///< What the poster attached; empty when nothing.
  };
  /// Called with each matching notification.
  using Observer = std::function<void(const Notification&)>;
  /// Identifies an observer for removeObserver().
  using Token = uint64_t;

  /// Made by the SDK context; hosts use defaultCenter().
  explicit NotificationCenter(Sdk&) {}
  /// The installed context's centre.
  static NotificationCenter& defaultCenter();

  /// Calls `observer` for every later notification named `name`.
  Token addObserver(const std::string& name, Observer observer);
  /// Stops the observer; an unknown token is ignored.
  void removeObserver(Token token);
  /// Calls the observers of `name` now, on this thread.
  void post(const std::string& name, std::any object = {});

 private:
  struct Entry {
    Token token;
    std::string name;  ///< What the poster called it.
    std::shared_ptr<Observer> observer;
  };
  std::mutex mutex_;
  Token nextToken_ = 1;
  std::vector<Entry> entries_;
};

}  // namespace vicinix
