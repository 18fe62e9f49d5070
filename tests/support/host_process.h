#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace vicinix::test {

// vicinix-host running in the background with its output in files, for tests
// that act on it while it runs (signals, clicks) and read what it printed.
class HostProcess {
 public:
  explicit HostProcess(const std::vector<std::string>& arguments);
  ~HostProcess();  // SIGKILL if still running
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  // Waits until standard output holds `text`; false after `timeout` or an exit.
  bool waitForOutput(const std::string& text,
                     std::chrono::milliseconds timeout = std::chrono::seconds(30));
  // Waits for the exit and returns its status code; -1 after `timeout`.
  int wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));

  std::string out() const;
  std::string err() const;

 private:
  bool running();

  pid_t pid_ = -1;
  int exitCode_ = -1;
  std::filesystem::path directory_;
};

}  // namespace vicinix::test
