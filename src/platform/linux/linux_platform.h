#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/linux/bluetooth_source.h"
#include "platform/platform.h"

namespace vicinix {

struct LinuxPlatformOptions {
  // The host's app-data directory; Library/ and Documents/ are made below it.
  std::filesystem::path appData;
  // The sender the desktop shows on notifications.
  std::string appName = "vicinix";
  // The host's desktop entry, without ".desktop", which docks match the
  // badge to; empty: the same as appName.
  std::string desktopId = {};
  // Where the live Bluetooth centrals come from; see BluetoothSource::parse.
  BluetoothSource bluetooth = {};
};

// $XDG_DATA_HOME/<appName>, i.e. ~/.local/share/<appName> by default.
std::filesystem::path defaultAppDataDirectory(const std::string& appName);

// The hardware identifier and kernel release, from uname().
DeviceInfo currentDeviceInfo();

// The real services: GLib main context, libcurl, the kernel's routing state,
// the settings file <app-data>/Library/Preferences/vicinix.plist, Bluetooth
// from the chosen source, notifications whose pictures wait in
// $XDG_RUNTIME_DIR/<appName>/notification-pictures, or without one in
// <app-data>/Library/Caches/Notifications, only until the server has them.
Platform makeLinuxPlatform(const LinuxPlatformOptions& options);

// Runs the default GLib main context until quitMainLoop(), for headless hosts.
// Hosts with their own GLib or Qt loop do not call it. Call it on the thread
// that owns the main queue.
void runMainLoop();
// Makes the running runMainLoop() return, or the next one if none runs yet.
// Any thread.
void quitMainLoop();
// Runs the default GLib main context until `done` holds or `timeout` passes;
// false on timeout. For command-line hosts and tests that wait for replies.
bool runMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

}  // namespace vicinix
