#pragma once

/// @file
/// The bootstrap of a Linux host: the SDK's context, main loop and shutdown.

#include <vicinix/export.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace vicinix {

class Toolkit;

/// What a Linux host sets up the SDK with. Every field has a default that
/// suits a desktop session.
struct LinuxHostOptions {
  /// Names the data directory and the sender of the desktop notifications.
  std::string appName = "vicinix";
  /// Where the settings, database and pictures live; empty:
  /// `$XDG_DATA_HOME/<appName>` (`~/.local/share/<appName>`).
  std::filesystem::path dataDirectory = {};
  /// Where beacons are heard: "bluez" (the first powered adapter),
  /// "bluez:hci1", "bluez,refresh=SECONDS", "hci" or "hci:1" (a raw HCI
  /// socket, which needs CAP_NET_RAW), or "replay:FILE" (a btsnoop or pcap
  /// capture played back as recorded, for demos without a radio).
  std::string bluetoothSource = "bluez";
  /// The backend's GraphQL endpoint; empty: the production one.
  std::string endpoint = {};
  /// Prints the SDK's diagnostic lines on standard output.
  bool debugging = false;
};

/// How LinuxHost::shutdown ended.
struct ShutdownReport {
  /// True when every stored event reached the backend within the bound.
  bool uploaded = false;
  /// The events still stored; they are sent on the next start.
  int64_t eventsStored = 0;
};

/// The SDK installed for a Linux process: the real platform services (GLib
/// main context, libcurl, BlueZ, the desktop's notifications, a settings file
/// and database under the data directory), with notification clicks
/// forwarded to VicinixNotificationClient::notificationTapped. One per
/// process, made and used on the main thread; Vicinix's functions act on it
/// while it lives.
///
/// A headless host calls run(); a host with its own GLib or Qt main loop
/// (Qt on Linux runs on GLib's default context, unless `QT_NO_GLIB=1`) skips
/// it, and the SDK's work runs inside that loop.
class VICINIX_EXPORT LinuxHost {
 public:
  /// The host, or null with the reason in `error` when an option is invalid.
  static std::unique_ptr<LinuxHost> create(const LinuxHostOptions& options, std::string& error);
  ~LinuxHost();
  LinuxHost(const LinuxHost&) = delete;
  LinuxHost& operator=(const LinuxHost&) = delete;

  /// Runs the main loop until quit(), SIGINT or SIGTERM.
  void run();
  /// Makes run() return. Any thread; a quit before run() is kept for it.
  static void quit();

  /// Sends the host to the background (Vicinix::applicationDidEnterBackground)
  /// and runs the main loop until every stored event is uploaded or `bound`
  /// passes. Call it once, before exiting.
  ShutdownReport shutdown(std::chrono::milliseconds bound = std::chrono::seconds(5));

  /// The data directory in use.
  const std::filesystem::path& dataDirectory() const;

 private:
  friend class QtHost;
  class State;
  // With the screens drawn by `toolkit`; QtHost passes Qt's.
  static std::unique_ptr<LinuxHost> createWithToolkit(const LinuxHostOptions& options,
                                                      std::shared_ptr<Toolkit> toolkit,
                                                      std::string& error);
  explicit LinuxHost(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace vicinix
