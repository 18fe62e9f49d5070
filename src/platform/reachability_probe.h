#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vicinix {

// Reachability flags, bit for bit those of the phone platform's network API.
enum ReachabilityFlag : uint32_t {
  kReachabilityTransientConnection = 1u << 0,
  kReachabilityReachable = 1u << 1,
  kReachabilityConnectionRequired = 1u << 2,
  kReachabilityConnectionOnTraffic = 1u << 3,
  kReachabilityInterventionRequired = 1u << 4,
  kReachabilityConnectionOnDemand = 1u << 5,
  kReachabilityIsLocalAddress = 1u << 16,
  kReachabilityIsDirect = 1u << 17,
  kReachabilityIsWWAN = 1u << 18,
};
using ReachabilityFlags = uint32_t;

// One watched destination. Callbacks run on a thread of the probe's choosing.
class ReachabilityTarget {
 public:
  using Callback = std::function<void(ReachabilityFlags)>;
  virtual ~ReachabilityTarget() = default;
  // The current flags, or nothing when they cannot be read.
  virtual std::optional<ReachabilityFlags> flags() = 0;
  // Starts reporting changes to `callback`; false when the system refuses.
  virtual bool setCallback(Callback callback) = 0;
  virtual void clearCallback() = 0;
};

// Creates reachability targets from the system's routing state.
class ReachabilityProbe {
 public:
  virtual ~ReachabilityProbe() = default;
  // For an IPv4 address in network byte order; nullptr when refused.
  virtual std::unique_ptr<ReachabilityTarget> targetForAddress(uint32_t ipv4Address) = 0;
  // For a host name; nullptr when refused.
  virtual std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& host) = 0;
};

}  // namespace vicinix
