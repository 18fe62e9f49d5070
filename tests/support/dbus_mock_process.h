#pragma once

#include <gio/gio.h>
#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace vicinix::test {

using VariantPtr = std::shared_ptr<GVariant>;

// A private dbus-daemon with python-dbusmock serving one template on it, for
// one test. While the object lives, this process's session and system bus
// addresses both point at the daemon. Stopped (SIGTERM) when it goes away.
class DbusMockProcess {
 public:
  // Nothing when dbus-daemon or python3-dbusmock is missing; `why` says which.
  static std::unique_ptr<DbusMockProcess> start(const std::string& templateName,
                                                const std::string& busName, std::string& why);
  ~DbusMockProcess();
  DbusMockProcess(const DbusMockProcess&) = delete;
  DbusMockProcess& operator=(const DbusMockProcess&) = delete;

  const std::string& address() const { return address_; }

  // Calls `method` on the mock and waits for the reply. `arguments` is a
  // tuple in GVariant text ("('hci0', 'host')"), "" for none. Throws with
  // the D-Bus error's text on failure.
  VariantPtr call(const std::string& path, const std::string& interface, const std::string& method,
                  const std::string& arguments = "") const;

 private:
  DbusMockProcess() = default;

  std::filesystem::path workDir_;
  std::string address_;
  std::string busName_;
  pid_t daemon_ = -1;
  pid_t mock_ = -1;
  GDBusConnection* connection_ = nullptr;
  std::optional<std::string> savedSystem_, savedSession_;
};

}  // namespace vicinix::test
