#pragma once

#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace vicinix::test {

// The reference backend running on loopback for one test, with its own
// events file. Stopped (SIGTERM) when the object goes away.
class BackendProcess {
 public:
  BackendProcess();
  ~BackendProcess();
  BackendProcess(const BackendProcess&) = delete;
  BackendProcess& operator=(const BackendProcess&) = delete;

  // http://127.0.0.1:PORT/graphql
  const std::string& endpoint() const { return endpoint_; }
  // Every GraphQL request it received, as /_admin/requests lists them.
  nlohmann::json requests() const;
  nlohmann::json events() const;
  // POSTs `body` to /_admin/<path> (state, fault, reset).
  nlohmann::json admin(const std::string& path, const nlohmann::json& body) const;

 private:
  std::string adminUrl(const std::string& path) const;

  pid_t pid_ = -1;
  std::filesystem::path workDir_;
  std::string endpoint_;
};

// GETs or POSTs over loopback and waits, for test harness use only.
std::string blockingHttp(const std::string& url, const std::string* postBody = nullptr);

}  // namespace vicinix::test
