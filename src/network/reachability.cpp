#include "network/reachability.h"

#include <vicinix/notification_center.h>

#include "base/sdk.h"

namespace vicinix {
namespace {

const char* kQueueLabel = "io.vicinix.reachability";

std::shared_ptr<Reachability> make(std::unique_ptr<ReachabilityTarget> target,
                                   ReachabilityError failure, ReachabilityError* error) {
  if (!target) {
    if (error) *error = failure;
    return nullptr;
  }
  return std::make_shared<Reachability>(std::move(target),
                                        Sdk::current().makeSerialQueue(kQueueLabel));
}

}  // namespace

std::shared_ptr<Reachability> Reachability::forZeroAddress(ReachabilityError* error) {
  return make(Sdk::current().reachabilityProbe().targetForAddress(0),
              ReachabilityError::FailedToCreateWithAddress, error);
}

std::shared_ptr<Reachability> Reachability::forHostName(const std::string& host,
                                                        ReachabilityError* error) {
  return make(Sdk::current().reachabilityProbe().targetForHostName(host),
              ReachabilityError::FailedToCreateWithHostname, error);
}

Reachability::Reachability(std::unique_ptr<ReachabilityTarget> target,
                           std::shared_ptr<DispatchQueue> queue)
    : target_(std::move(target)),
      reachabilitySerialQueue_(std::move(queue)),
      notificationCenter_(&NotificationCenter::defaultCenter()) {}

Reachability::~Reachability() {
  stopNotifier();
}

Reachability::Connection Reachability::connectionFor(std::optional<ReachabilityFlags> flags,
                                                     bool allowsCellularConnection) {
  if (!flags || !(*flags & kReachabilityReachable)) return Connection::none;
  Connection connection =
      (*flags & kReachabilityConnectionRequired) ? Connection::none : Connection::wifi;
  if ((*flags & (kReachabilityConnectionOnTraffic | kReachabilityConnectionOnDemand)) &&
      !(*flags & kReachabilityInterventionRequired)) {
    connection = Connection::wifi;
  }
  if (*flags & kReachabilityIsWWAN) {
    return allowsCellularConnection ? Connection::cellular : Connection::none;
  }
  return connection;
}

// The first reading is a change like any other: a host that only ever reads
// `connection` still hears the state it found.
void Reachability::readFlags() {
  if (auto flags = target_->flags()) setFlags(*flags);
}

Reachability::Connection Reachability::connection() {
  std::optional<ReachabilityFlags> flags;
  reachabilitySerialQueue_->sync([&] {
    if (!flags_) readFlags();
    flags = flags_;
  });
  return connectionFor(flags, allowsCellularConnection);
}

Reachability::NetworkStatus Reachability::currentReachabilityStatus() {
  switch (connection()) {
    case Connection::wifi:
      return NetworkStatus::reachableViaWiFi;
    case Connection::cellular:
      return NetworkStatus::reachableViaWWAN;
    case Connection::none:
      break;
  }
  return NetworkStatus::notReachable;
}

std::optional<ReachabilityError> Reachability::startNotifier() {
  if (notifierRunning_) return std::nullopt;
  std::weak_ptr<Reachability> weak = weak_from_this();
  auto queue = reachabilitySerialQueue_;
  bool installed = target_->setCallback([weak, queue](ReachabilityFlags flags) {
    queue->async([weak, flags] {
      if (auto self = weak.lock()) self->setFlags(flags);
    });
  });
  if (!installed) {
    stopNotifier();
    return ReachabilityError::UnableToSetCallback;
  }
  bool gotFlags = false;
  reachabilitySerialQueue_->sync([&] {
    auto flags = target_->flags();
    if (flags) setFlags(*flags);
    gotFlags = flags.has_value();
  });
  if (!gotFlags) {
    stopNotifier();
    return ReachabilityError::UnableToGetInitialFlags;
  }
  notifierRunning_ = true;
  return std::nullopt;
}

void Reachability::stopNotifier() {
  target_->clearCallback();
  notifierRunning_ = false;
}

// Runs on the serial queue. Only a change is reported, on the main queue, and
// only while the monitor still exists by then.
void Reachability::setFlags(ReachabilityFlags flags) {
  if (flags_ == flags) return;
  flags_ = flags;
  std::weak_ptr<Reachability> weak = weak_from_this();
  Sdk::current().mainQueue().async([weak] {
    auto self = weak.lock();
    if (!self) return;
    if (self->connection() != Connection::none) {
      if (self->whenReachable) self->whenReachable(*self);
    } else if (self->whenUnreachable) {
      self->whenUnreachable(*self);
    }
    self->notificationCenter_->post(kChangedNotification, self);
  });
}

std::string Reachability::description() {
  std::optional<ReachabilityFlags> flags;
  reachabilitySerialQueue_->sync([&] { flags = flags_; });
  if (!flags) return "unavailable flags";
  struct Mark {
    ReachabilityFlags flag;
    char set;
  };
  static constexpr Mark marks[] = {
      {kReachabilityIsWWAN, 'W'},
      {kReachabilityReachable, 'R'},
      {kReachabilityTransientConnection, 't'},
      {kReachabilityConnectionRequired, 'c'},
      {kReachabilityConnectionOnTraffic, 'C'},
      {kReachabilityInterventionRequired, 'i'},
      {kReachabilityConnectionOnDemand, 'D'},
      {kReachabilityIsLocalAddress, 'l'},
      {kReachabilityIsDirect, 'd'},
  };
  std::string text;
  for (const auto& mark : marks) text.push_back((*flags & mark.flag) ? mark.set : '-');
  return text;
}

const char* Reachability::description(Connection connection) {
  switch (connection) {
    case Connection::wifi:
      return "WiFi";
    case Connection::cellular:
      return "Cellular";
    case Connection::none:
      break;
  }
  return "No Connection";
}

}  // namespace vicinix
