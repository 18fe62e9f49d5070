#include "platform/linux/linux_application.h"

#include <glib.h>
#include <libintl.h>

#include "platform/linux/headless_root_view_controller.h"

namespace vicinix {

LinuxApplication::LinuxApplication(std::shared_ptr<Log> log, const std::string& desktopId)
    : log_(std::move(log)),
      launcherEntry_(desktopId),
      root_(std::make_shared<HeadlessRootViewController>()) {}

std::string LinuxApplication::localizedString(const std::string& key) const {
  // gettext("") answers the catalogue's header, not a translation.
  if (key.empty()) return key;
  return gettext(key.c_str());
}

void LinuxApplication::openURL(const std::string& url) {
  // xdg-open would take "-..." for one of its options.
  if (url.empty() || url.front() == '-') {
    if (log_) log_->systemLine("not opening \"" + url + "\": not a URL");
    return;
  }
  gchar* argv[] = {const_cast<gchar*>("xdg-open"), const_cast<gchar*>(url.c_str()), nullptr};
  GError* error = nullptr;
  // Without DO_NOT_REAP_CHILD GLib forks twice, so no zombie is left behind
  // and no main loop has to watch the child.
  if (!g_spawn_async(nullptr, argv, nullptr,
                     GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_STDIN_FROM_DEV_NULL), nullptr,
                     nullptr, nullptr, &error)) {
    if (log_) log_->systemLine("cannot open \"" + url + "\": " + error->message);
    g_error_free(error);
  }
}

}  // namespace vicinix
