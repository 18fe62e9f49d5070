#pragma once

#include <gio/gio.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vicinix::test {

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

// A dbus-daemon of the test's own that stands in for both the session and
// the system bus: DBUS_SESSION_BUS_ADDRESS and DBUS_SYSTEM_BUS_ADDRESS point
// at it while the object lives, and get their old values back afterwards. It
// activates no services, so a name has an owner only when the test started
// one, typically a python-dbusmock template:
//
//   PrivateBus bus;
//   bus.startMock("notification_daemon", "org.freedesktop.Notifications",
//                 R"({"capabilities": "body actions"})");
//   auto calls = bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
//                         "org.freedesktop.DBus.Mock", "GetMethodCalls",
//                         g_variant_new("(s)", "Notify"));
//
// Everything blocks the calling thread and throws std::runtime_error when
// the bus or a mock does not come up. The daemon and the mocks are stopped
// with the object, or killed when the thread that made it ends first (a
// crashed test leaves no orphans), so make it on the test's own thread.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }

  // Runs `/usr/bin/python3 -m dbusmock --template <templateName>` (with
  // `-p <parameters>` unless empty) and waits until it owns `busName`.
  void startMock(const std::string& templateName, const std::string& busName,
                 const std::string& parameters = "");
  // Stops the mocks started so far and waits until their names are free.
  void stopMocks();

  // The test's own connection to the bus.
  GDBusConnection* connection() const { return connection_; }
  // Calls a method and returns its reply. Takes `parameters` if floating.
  VariantPtr call(const std::string& destination, const std::string& path,
                  const std::string& interface, const std::string& method,
                  GVariant* parameters = nullptr) const;
  bool hasOwner(const std::string& busName) const;

 private:
  struct Mock {
    pid_t pid;
    std::string busName;
  };

  pid_t spawn(const std::vector<std::string>& argv, const std::string& logName) const;
  // Throws, with the process's output, when it exits first or after 20 s.
  void waitFor(const std::function<bool()>& condition, const std::string& what, pid_t process,
               const std::string& logName) const;
  void tearDown();

  std::filesystem::path directory_;
  std::string address_;
  pid_t daemon_ = -1;
  GDBusConnection* connection_ = nullptr;
  std::vector<Mock> mocks_;
  std::optional<std::string> previousSession_;
  std::optional<std::string> previousSystem_;
};

}  // namespace vicinix::test
