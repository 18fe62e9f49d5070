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

namespace vicinix::test {
namespace {

using namespace std::chrono_literals;

std::optional<std::string> environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

void restoreEnvironment(const char* name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name, value->c_str(), 1);
  } else {
    unsetenv(name);
  }
}

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
  address_ = std::string("unix:path=") + escaped;
  g_free(escaped);

  try {
    daemon_ = spawn({"dbus-daemon", "--nofork", "--nopidfile",
                     "--config-file=" + (directory_ / "bus.conf").string()},
                    "dbus-daemon.log");
    GError* error = nullptr;
    waitFor(
        [&] {
          if (!std::filesystem::exists(socket)) return false;
          g_clear_error(&error);
          connection_ = g_dbus_connection_new_for_address_sync(
              address_.c_str(),
              GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                   G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, &error);
          return connection_ != nullptr;
        },
        "dbus-daemon to accept connections", daemon_, "dbus-daemon.log");
    g_clear_error(&error);
  } catch (...) {
    tearDown();
    throw;
  }
  previousSession_ = environmentValue("DBUS_SESSION_BUS_ADDRESS");
  previousSystem_ = environmentValue("DBUS_SYSTEM_BUS_ADDRESS");
  setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  restoreEnvironment("DBUS_SESSION_BUS_ADDRESS", previousSession_);
  restoreEnvironment("DBUS_SYSTEM_BUS_ADDRESS", previousSystem_);
  tearDown();
}

void PrivateBus::tearDown() {
  for (const Mock& mock : mocks_) stopProcess(mock.pid);
  mocks_.clear();
  if (connection_ != nullptr) {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
    connection_ = nullptr;
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
  if (!parameters.empty()) {
    argv.push_back("-p");
    argv.push_back(parameters);
  }
  pid_t pid = spawn(argv, templateName + ".log");
  try {
    waitFor([&] { return hasOwner(busName); }, "the " + templateName + " mock to own " + busName,
            pid, templateName + ".log");
  } catch (...) {
    stopProcess(pid);
    throw;
  }
  mocks_.push_back({pid, busName});
}

void PrivateBus::stopMocks() {
  std::vector<Mock> stopped = std::move(mocks_);
  mocks_.clear();
  for (const Mock& mock : stopped) {
    stopProcess(mock.pid);
    waitFor([&] { return !hasOwner(mock.busName); }, mock.busName + " to be released", -1, "");
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
  gchar* found = g_find_program_in_path(argv[0].c_str());
  if (found == nullptr) throw std::runtime_error("cannot find " + argv[0]);
  std::string program = found;
  g_free(found);
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  std::string log = (directory_ / logName).string();
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0) {
    // Should the test crash, its bus and mocks go with it instead of
    // lingering as orphans.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    int input = open("/dev/null", O_RDONLY);
    int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (input < 0 || output < 0) _exit(127);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execv(program.c_str(), arguments.data());
    _exit(127);
  }
  if (pid < 0) throw std::runtime_error("cannot start " + argv[0]);
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
