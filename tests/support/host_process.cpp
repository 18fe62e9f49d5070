#include "support/host_process.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace vicinix::test {
namespace {

std::string readAll(const std::filesystem::path& file) {
  std::ifstream in(file);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

HostProcess::HostProcess(const std::vector<std::string>& arguments) {
  std::string pattern = (std::filesystem::temp_directory_path() / "vicinix-host-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  directory_ = pattern;
  std::vector<std::string> argv{VICINIX_HOST_BINARY};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (auto& argument : argv) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  std::string out = (directory_ / "stdout").string(), err = (directory_ / "stderr").string();

  pid_ = fork();
  if (pid_ == 0) {
    if (!std::freopen(out.c_str(), "w", stdout) || !std::freopen(err.c_str(), "w", stderr)) {
      _exit(126);
    }
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  if (pid_ < 0) throw std::runtime_error("fork failed");
}

HostProcess::~HostProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void HostProcess::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

bool HostProcess::waitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
  auto end = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < end) {
    if (out().find(text) != std::string::npos) return true;
    if (!running()) return out().find(text) != std::string::npos;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

int HostProcess::wait(std::chrono::milliseconds timeout) {
  auto end = std::chrono::steady_clock::now() + timeout;
  while (running() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return exitCode_;
}

bool HostProcess::running() {
  int status = 0;
  if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
    pid_ = -1;
    exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return pid_ > 0;
}

std::string HostProcess::out() const {
  return readAll(directory_ / "stdout");
}

std::string HostProcess::err() const {
  return readAll(directory_ / "stderr");
}

}  // namespace vicinix::test
