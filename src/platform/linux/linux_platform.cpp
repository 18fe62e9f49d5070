#include "platform/linux/linux_platform.h"

#include <glib.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "platform/linux/curl_http_client.h"
#include "platform/linux/freedesktop_notification_center.h"
#include "platform/linux/gdk_pixbuf_image_codec.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/linux_application.h"
#include "platform/linux/linux_location_service.h"
#include "platform/linux/netlink_reachability_probe.h"
#include "platform/linux/plist_defaults_store.h"
#include "platform/linux/standard_stream_log.h"
#include "platform/linux/system_clock.h"

namespace vicinix {
namespace {

std::atomic<bool> gQuitRequested{false};

std::filesystem::path homeDirectory() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr) {
    return found->pw_dir;
  }
  return std::filesystem::temp_directory_path();
}

}  // namespace

std::filesystem::path defaultAppDataDirectory(const std::string& appName) {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  // The base-directory rules say to ignore a relative value.
  if (dataHome != nullptr && dataHome[0] == '/') return std::filesystem::path(dataHome) / appName;
  return homeDirectory() / ".local" / "share" / appName;
}

DeviceInfo currentDeviceInfo() {
  utsname names{};
  if (uname(&names) != 0) return {};
  return DeviceInfo{.model = names.machine, .osVersion = names.release};
}

Platform makeLinuxPlatform(const LinuxPlatformOptions& options) {
  auto log = makeStandardStreamLog();
  auto directories = AppDirectories::under(options.appData);
  for (const auto& directory : {directories.library, directories.documents}) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) log->systemLine("cannot create " + directory.string() + ": " + error.message());
  }
  auto queues = makeGlibDispatchQueueFactory();
  // libcurl is initialised here, before the SDK starts threads of its own.
  auto http = makeCurlHttpClient(queues->mainQueue());
  // The loader is a package of its own; without it every CDN picture served
  // as WebP fails, and only this line says why.
  if (!GdkPixbufImageCodec::canRead("webp")) {
    log->systemLine(
        "WebP pictures will not decode: gdk-pixbuf has no WebP loader "
        "(install webp-pixbuf-loader)");
  }
  return Platform{
      .queues = queues,
      .clock = makeSystemClock(),
      .defaults =
          makePlistDefaultsStore(directories.library / "Preferences" / "vicinix.plist", log),
      .http = std::move(http),
      .reachability = makeNetlinkReachabilityProbe(),
      .location = makeLinuxLocationService(),
      .bluetooth = options.bluetooth.centralFactory(log),
      .notifications = std::make_shared<FreedesktopNotificationCenter>(
          options.appName, log,
          NotificationPictureFolder::rootFor(options.appName, directories.library)),
      .images = std::make_shared<GdkPixbufImageCodec>(),
      .application = std::make_shared<LinuxApplication>(
          log, options.desktopId.empty() ? options.appName : options.desktopId),
      .log = log,
      .toolkit = nullptr,
      .directories = directories,
      .device = currentDeviceInfo(),
  };
}

void runMainLoop() {
  // A plain loop over the default context instead of a GMainLoop, so a quit
  // that comes before the loop starts is not lost.
  while (!gQuitRequested.exchange(false)) g_main_context_iteration(nullptr, TRUE);
}

void quitMainLoop() {
  gQuitRequested.store(true);
  g_main_context_wakeup(nullptr);
}

}  // namespace vicinix
