#include "platform/linux/dbus_error_text.h"

namespace vicinix {

std::string dbusErrorText(const GError* error) {
  if (error == nullptr) return "unknown error";
  gchar* remote = g_dbus_error_get_remote_error(error);
  GError* copy = g_error_copy(error);
  g_dbus_error_strip_remote_error(copy);
  std::string text = (remote != nullptr ? std::string(remote) + ": " : "") + copy->message;
  g_error_free(copy);
  g_free(remote);
  return text;
}

}  // namespace vicinix
