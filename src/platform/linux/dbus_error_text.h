#pragma once

#include <gio/gio.h>

#include <string>

namespace vicinix {

// A D-Bus error as a log line reads best: "org.bluez.Error.NotReady:
// Resource Not Ready", without GDBus's "GDBus.Error:" wrapping.
std::string dbusErrorText(const GError* error);

}  // namespace vicinix
