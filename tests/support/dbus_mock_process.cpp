#include "support/dbus_mock_process.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace vicinix::test {
namespace {

using namespace std::chrono_literals;

// The mocks need the Debian Python; a python3 first on PATH may lack dbusmock.
constexpr const char* kPython = "/usr/bin/python3";

// Listens on a socket in our own directory and lets anyone own any name.
std::string busConfig(const std::filesystem::path& socket) {
  return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" +
         socket.string() + R"(</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
}

pid_t spawn(const std::filesystem::path& workDir, const std::string& name,
            const std::vector<std::string>& arguments, const std::string& busAddress) {
  pid_t pid = fork();
  if (pid == 0) {
    if (!busAddress.empty()) {
      setenv("DBUS_SYSTEM_BUS_ADDRESS", busAddress.c_str(), 1);
      setenv("DBUS_SESSION_BUS_ADDRESS", busAddress.c_str(), 1);
    }
    FILE* out = std::freopen((workDir / (name + ".out")).c_str(), "w", stdout);
    FILE* err = std::freopen((workDir / (name + ".err")).c_str(), "w", stderr);
    (void)out;
    (void)err;
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  return pid;
}

void stop(pid_t& pid) {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

std::optional<std::string> getEnvironment(const char* name) {
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

}  // namespace

std::unique_ptr<DbusMockProcess> DbusMockProcess::start(const std::string& templateName,
                                                        const std::string& busName,
                                                        std::string& why) {
  if (access("/usr/bin/dbus-daemon", X_OK) != 0) {
    why = "dbus-daemon is not installed (scripts/install-deps installs it)";
    return nullptr;
  }
  if (std::system((std::string(kPython) + " -c 'import dbusmock' 2>/dev/null").c_str()) != 0) {
    why = "python3-dbusmock is not installed (scripts/install-deps installs it)";
    return nullptr;
  }
  std::unique_ptr<DbusMockProcess> process(new DbusMockProcess());
  std::string pattern = (std::filesystem::temp_directory_path() / "vicinix-bus-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  process->workDir_ = pattern;
  process->busName_ = busName;
  auto socket = process->workDir_ / "bus";
  process->address_ = "unix:path=" + socket.string();
  std::ofstream(process->workDir_ / "bus.conf") << busConfig(socket);

  process->daemon_ = spawn(process->workDir_, "dbus-daemon",
                           {"/usr/bin/dbus-daemon", "--nofork", "--nopidfile",
                            "--config-file=" + (process->workDir_ / "bus.conf").string()},
                           "");
  for (int i = 0; i < 500 && !std::filesystem::exists(socket); ++i)
    std::this_thread::sleep_for(10ms);

  GError* error = nullptr;
  for (int i = 0; i < 100 && process->connection_ == nullptr; ++i) {
    g_clear_error(&error);
    process->connection_ = g_dbus_connection_new_for_address_sync(
        process->address_.c_str(),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (process->connection_ == nullptr) std::this_thread::sleep_for(20ms);
  }
  if (process->connection_ == nullptr) {
    std::string message = error != nullptr ? error->message : "?";
    g_clear_error(&error);
    throw std::runtime_error("the private dbus-daemon did not start: " + message);
  }

  process->mock_ = spawn(process->workDir_, "dbusmock",
                         {kPython, "-m", "dbusmock", "--template", templateName, "-l",
                          (process->workDir_ / "mock.log").string()},
                         process->address_);
  bool owned = false;
  for (int i = 0; i < 500 && !owned; ++i) {
    auto reply = process->call("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                               "('" + busName + "',)");
    gboolean hasOwner = FALSE;
    g_variant_get(reply.get(), "(b)", &hasOwner);
    owned = hasOwner;
    if (!owned) std::this_thread::sleep_for(10ms);
  }
  if (!owned) throw std::runtime_error("dbusmock did not take " + busName);

  process->savedSystem_ = getEnvironment("DBUS_SYSTEM_BUS_ADDRESS");
  process->savedSession_ = getEnvironment("DBUS_SESSION_BUS_ADDRESS");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", process->address_.c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", process->address_.c_str(), 1);
  return process;
}

DbusMockProcess::~DbusMockProcess() {
  restoreEnvironment("DBUS_SYSTEM_BUS_ADDRESS", savedSystem_);
  restoreEnvironment("DBUS_SESSION_BUS_ADDRESS", savedSession_);
  if (connection_ != nullptr) {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }
  stop(mock_);
  stop(daemon_);
  std::error_code ignored;
  std::filesystem::remove_all(workDir_, ignored);
}

VariantPtr DbusMockProcess::call(const std::string& path, const std::string& interface,
                                 const std::string& method, const std::string& arguments) const {
  GError* error = nullptr;
  GVariant* parameters = nullptr;
  if (!arguments.empty()) {
    parameters = g_variant_parse(nullptr, arguments.c_str(), nullptr, nullptr, &error);
    if (parameters == nullptr) {
      std::string message = error->message;
      g_error_free(error);
      throw std::invalid_argument("bad arguments " + arguments + ": " + message);
    }
  }
  bool toBus = path == "/org/freedesktop/DBus";
  GVariant* reply =
      g_dbus_connection_call_sync(connection_, toBus ? "org.freedesktop.DBus" : busName_.c_str(),
                                  path.c_str(), interface.c_str(), method.c_str(), parameters,
                                  nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &error);
  if (parameters != nullptr) g_variant_unref(parameters);
  if (reply == nullptr) {
    std::string message = error->message;
    g_error_free(error);
    throw std::runtime_error(method + " failed: " + message);
  }
  return VariantPtr(reply, g_variant_unref);
}

}  // namespace vicinix::test
