#pragma once

#include <memory>

#include "platform/reachability_probe.h"

namespace vicinix {

// Reachability read from the kernel's routing state over rtnetlink. The
// any-address, and any host name (resolving it could block), is reachable
// while the kernel would send a packet to a public IPv4 or IPv6 address out of
// a link with carrier (over IPv6, from an address beyond the link-local one),
// whichever table or rule it takes; a specific IPv4 address while the kernel
// has a route to it. A cellular output interface ("ww*", or DEVTYPE=wwan) adds
// IsWWAN. A target opens its netlink sockets when it is created, so it watches
// the network namespace of the thread that created it; where netlink is denied
// its flags cannot be read. Change callbacks run on a watcher thread.
std::shared_ptr<ReachabilityProbe> makeNetlinkReachabilityProbe();

}  // namespace vicinix
