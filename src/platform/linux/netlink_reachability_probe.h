#pragma once

#include <memory>

#include "platform/reachability_probe.h"

namespace vicinix {

// Reachability read from the kernel's routing state over rtnetlink. The
// any-address, and any host name (resolving it could block), is reachable
// while the main table holds an IPv4 default route; a specific address while
// the kernel has a route to it. A cellular output interface ("ww*", or
// DEVTYPE=wwan) adds IsWWAN. A target opens its netlink sockets when it is
// created, so it watches the network namespace of the thread that created it.
// Change callbacks run on a watcher thread of the target.
std::shared_ptr<ReachabilityProbe> makeNetlinkReachabilityProbe();

}  // namespace vicinix
