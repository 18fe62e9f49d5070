#pragma once

/// @file
/// The bootstrap of a Qt6 Widgets host.

#include <vicinix/export.h>
#include <vicinix/linux_host.h>

#include <memory>
#include <string>

namespace vicinix {

/// Sets up a Qt6 Widgets host: a LinuxHost whose screens (campaign details,
/// the progress overlay) are drawn with Qt. The SDK's work runs inside
/// QApplication::exec(), which runs GLib's default context on Linux (leave
/// `QT_NO_GLIB` unset); do not call LinuxHost::run().
class VICINIX_EXPORT QtHost {
 public:
  /// Call before the QApplication is made: sets the browser engine that
  /// web-page campaigns open in up to run as root, without a GPU when there
  /// is none, and quietly.
  static void prepareApplication();
  /// The host, after the QApplication is made; null with the reason in
  /// `error` when an option is invalid.
  static std::unique_ptr<LinuxHost> create(const LinuxHostOptions& options, std::string& error);
};

}  // namespace vicinix
