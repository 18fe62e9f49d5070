#include "platform/linux/session_bus_address.h"

#include <gio/gio.h>
#include <unistd.h>

#include <cstdlib>

namespace vicinix {

std::optional<std::string> sessionBusAddress() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && address[0] != '\0') return std::string(address);
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || runtime[0] != '/') return std::nullopt;
  std::string socket = std::string(runtime) + "/bus";
  if (access(socket.c_str(), R_OK | W_OK) != 0) return std::nullopt;
  gchar* escaped = g_dbus_address_escape_value(socket.c_str());
  std::string result = std::string("unix:path=") + escaped;
  g_free(escaped);
  return result;
}

}  // namespace vicinix
