#pragma once

#include <optional>
#include <string>

namespace vicinix {

// The address of the user's session bus: DBUS_SESSION_BUS_ADDRESS, else the
// socket in XDG_RUNTIME_DIR. Nothing when there is none: we never autolaunch
// a bus of our own, since a host without a session has nobody to show
// notifications or counts to.
std::optional<std::string> sessionBusAddress();

}  // namespace vicinix
