#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/dispatch_queue.h"
#include "platform/reachability_probe.h"

namespace vicinix {

class NotificationCenter;

enum class ReachabilityError {
  FailedToCreateWithAddress,
  FailedToCreateWithHostname,
  UnableToSetCallback,
  UnableToSetDispatchQueue,
  UnableToGetInitialFlags,
};

// Tells whether a network path exists and whether it is cellular. The SDK
// reads it once at start; the change notifier is there for hosts.
class Reachability : public std::enable_shared_from_this<Reachability> {
 public:
  enum class Connection { none, wifi, cellular };
  enum class NetworkStatus { notReachable, reachableViaWiFi, reachableViaWWAN };
  using Handler = std::function<void(Reachability&)>;

  static constexpr const char* kChangedNotification = "ReachabilityChangedNotification";

  // For the IPv4 any-address (0.0.0.0): any route at all. Nothing when the
  // system refuses; `error` then says why.
  static std::shared_ptr<Reachability> forZeroAddress(ReachabilityError* error = nullptr);
  static std::shared_ptr<Reachability> forHostName(const std::string& host,
                                                   ReachabilityError* error = nullptr);
  Reachability(std::unique_ptr<ReachabilityTarget> target, std::shared_ptr<DispatchQueue> queue);
  ~Reachability();

  Connection connection();
  NetworkStatus currentReachabilityStatus();
  bool isReachable() { return connection() != Connection::none; }
  bool isReachableViaWWAN() { return connection() == Connection::cellular; }
  bool isReachableViaWiFi() { return connection() == Connection::wifi; }

  // Starts reporting changes through whenReachable/whenUnreachable and the
  // notification, on the main queue.
  std::optional<ReachabilityError> startNotifier();
  void stopNotifier();
  bool notifierRunning() const { return notifierRunning_; }

  // One character per flag, or "unavailable flags" before any were read.
  std::string description();
  static const char* description(Connection connection);
  // The connection that `flags` describe.
  static Connection connectionFor(std::optional<ReachabilityFlags> flags,
                                  bool allowsCellularConnection);

  Handler whenReachable;
  Handler whenUnreachable;
  const bool reachableOnWWAN = true;
  bool allowsCellularConnection = true;
  bool isRunningOnDevice = true;

 private:
  void setFlags(ReachabilityFlags flags);
  void readFlags();

  std::unique_ptr<ReachabilityTarget> target_;
  std::shared_ptr<DispatchQueue> reachabilitySerialQueue_;
  NotificationCenter* notificationCenter_;
  std::optional<ReachabilityFlags> flags_;  // touched only on the serial queue
  bool notifierRunning_ = false;
};

}  // namespace vicinix
