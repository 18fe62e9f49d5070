#pragma once

#include <gio/gio.h>
#include <sys/types.h>

#include <array>
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

// A dbus-daemon of the test's own standing in for both the session and the
// system bus: DBUS_SESSION_BUS_ADDRESS and DBUS_SYSTEM_BUS_ADDRESS point at it
// while the object lives. It activates no services, so a name has an owner
// only when the test started one, typically a python-dbusmock template.
// Everything blocks and throws std::runtime_error when the bus or a mock does
// not come up. The daemon and the mocks stop with the object, or when the
// thread that made it ends first, so make it on the test's own thread.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // Runs `python3 -m dbusmock --template <templateName> [-p <parameters>]`
  // and waits until it owns `busName`. `templateName` may be a path to a .py file.
  void startMock(const std::string& templateName, const std::string& busName,
                 const std::string& parameters = "");
  // Stops the mocks started so far and waits until their names are free.
  void stopMocks();
  // Calls a method and returns its reply. Takes `parameters` if floating.
  VariantPtr call(const std::string& destination, const std::string& path,
                  const std::string& interface, const std::string& method,
                  GVariant* parameters = nullptr) const;

 private:
  bool hasOwner(const std::string& busName) const;
  pid_t spawn(const std::vector<std::string>& argv, const std::string& logName) const;
  // Throws, with the process's output, when it exits first or after 20 s.
  void waitFor(const std::function<bool()>& condition, const std::string& what, pid_t process,
               const std::string& logName) const;
  void tearDown();

  std::filesystem::path directory_;
  pid_t daemon_ = -1;
  GDBusConnection* connection_ = nullptr;
  std::vector<std::pair<pid_t, std::string>> mocks_;  // and the name each owns
  std::array<std::optional<std::string>, 2> previousAddresses_;
};

}  // namespace vicinix::test
