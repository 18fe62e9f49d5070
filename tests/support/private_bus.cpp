#include "support/private_bus.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vicinix::test {
namespace {

using namespace std::chrono_literals;

constexpr std::array kAddressVariables = {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"};

void stopProcess(pid_t pid) {
  // Already gone, and perhaps reaped: its pid may belong to someone else now.
  if (pid <= 0 || waitpid(pid, nullptr, WNOHANG) != 0) return;
  kill(pid, SIGTERM);
  // A process that ignores SIGTERM must not keep the test waiting forever.
  for (int attempt = 0; attempt < 500; ++attempt) {
    if (waitpid(pid, nullptr, WNOHANG) == pid) return;
    std::this_thread::sleep_for(10ms);
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

}  // namespace

PrivateBus::PrivateBus() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vicinix-bus-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  directory_ = pattern;
  std::filesystem::path socket = directory_ / "bus";
  // No <servicedir>: nothing is activated behind the test's back, such as a
  // real notification daemon installed on the machine.
  std::ofstream(directory_ / "bus.conf") << R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" << socket.string() << R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
  gchar* escaped = g_dbus_address_escape_value(socket.c_str());
  std::string address = std::string("unix:path=") + escaped;
  g_free(escaped);
  try {
    daemon_ = spawn({"dbus-daemon", "--nofork", "--nopidfile",
                     "--config-file=" + (directory_ / "bus.conf").string()},
                    "dbus-daemon.log");
    waitFor(
        [&] {
          if (!std::filesystem::exists(socket)) return false;
          connection_ = g_dbus_connection_new_for_address_sync(
              address.c_str(),
              GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                   G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr);
          return connection_ != nullptr;
        },
        "dbus-daemon to accept connections", daemon_, "dbus-daemon.log");
  } catch (...) {
    tearDown();
    throw;
  }
  for (size_t i = 0; i < kAddressVariables.size(); ++i) {
    if (const char* previous = std::getenv(kAddressVariables[i])) previousAddresses_[i] = previous;
    setenv(kAddressVariables[i], address.c_str(), 1);
  }
}

PrivateBus::~PrivateBus() {
  for (size_t i = 0; i < kAddressVariables.size(); ++i) {
    if (previousAddresses_[i]) {
      setenv(kAddressVariables[i], previousAddresses_[i]->c_str(), 1);
    } else {
      unsetenv(kAddressVariables[i]);
    }
  }
  tearDown();
}

void PrivateBus::tearDown() {
  for (const auto& [pid, busName] : mocks_) stopProcess(pid);
  mocks_.clear();
  if (connection_ != nullptr) {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_clear_object(&connection_);
  }
  stopProcess(daemon_);
  daemon_ = -1;
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void PrivateBus::startMock(const std::string& templateName, const std::string& busName,
                           const std::string& parameters) {
  std::vector<std::string> argv = {"/usr/bin/python3", "-m", "dbusmock", "--template",
                                   templateName};
  if (!parameters.empty()) argv.insert(argv.end(), {"-p", parameters});
  // A template may be a file of the test's own: its log goes by its stem.
  std::string logName = std::filesystem::path(templateName).stem().string() + ".log";
  pid_t pid = spawn(argv, logName);
  try {
    waitFor([&] { return hasOwner(busName); }, "the " + templateName + " mock to own " + busName,
            pid, logName);
  } catch (...) {
    stopProcess(pid);
    throw;
  }
  mocks_.emplace_back(pid, busName);
}

void PrivateBus::stopMocks() {
  for (const auto& mock : std::exchange(mocks_, {})) {
    stopProcess(mock.first);
    waitFor([&] { return !hasOwner(mock.second); }, mock.second + " to be released", -1, "");
  }
}

VariantPtr PrivateBus::call(const std::string& destination, const std::string& path,
                            const std::string& interface, const std::string& method,
                            GVariant* parameters) const {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(
      connection_, destination.c_str(), path.c_str(), interface.c_str(), method.c_str(), parameters,
      nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &error);
  if (reply == nullptr) {
    std::string message = interface + "." + method + " failed: " + error->message;
    g_error_free(error);
    throw std::runtime_error(message);
  }
  return VariantPtr(reply);
}

bool PrivateBus::hasOwner(const std::string& busName) const {
  VariantPtr reply = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                          "NameHasOwner", g_variant_new("(s)", busName.c_str()));
  gboolean owned = FALSE;
  g_variant_get(reply.get(), "(b)", &owned);
  return owned;
}

pid_t PrivateBus::spawn(const std::vector<std::string>& argv, const std::string& logName) const {
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  int log = open((directory_ / logName).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (log < 0) throw std::runtime_error("cannot create " + logName);
  // Should the test crash, its bus and mocks go with it instead of lingering as orphans.
  auto dieWithParent = [](gpointer parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != GPOINTER_TO_INT(parent)) _exit(127);
  };
  GPid pid = -1;
  GError* error = nullptr;
  bool started =
      g_spawn_async_with_fds(nullptr, arguments.data(), nullptr,
                             GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                             dieWithParent, GINT_TO_POINTER(getpid()), &pid, -1, log, log, &error);
  close(log);
  if (!started) {
    std::string message = "cannot start " + argv[0] + ": " + error->message;
    g_error_free(error);
    throw std::runtime_error(message);
  }
  return pid;
}

void PrivateBus::waitFor(const std::function<bool()>& condition, const std::string& what,
                         pid_t process, const std::string& logName) const {
  auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!condition()) {
    // The log is gone with the directory once this throws, so it goes along.
    bool exited = process > 0 && waitpid(process, nullptr, WNOHANG) == process;
    if (exited || std::chrono::steady_clock::now() > deadline) {
      std::ifstream file(directory_ / logName);
      std::string log((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      throw std::runtime_error((exited ? "exited while waiting for " : "timed out waiting for ") +
                               what + "; its output:\n" + log);
    }
    std::this_thread::sleep_for(20ms);
  }
}

}  // namespace vicinix::test
