#include <gtest/gtest.h>
#include <vicinix/linux_host.h>
#include <vicinix/vicinix.h>

#include <algorithm>
#include <string>

#include "platform/linux/temporary_directory.h"
#include "support/backend_process.h"
#include "support/loopback_http_server.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

bool received(const nlohmann::json& events, const std::string& type) {
  return std::ranges::any_of(events, [&](const auto& event) { return event["eventType"] == type; });
}

// The whole life of a host that follows the bootstrap, and of one that does not.
TEST(LinuxHostTest, GuidesAHostWithoutContextAndShutsDownWithinItsBound) {
  // Without a host the facade explains itself instead of aborting.
  ::testing::internal::CaptureStderr();
  Vicinix::start("demo-app-key");
  EXPECT_EQ(Vicinix::applicationKey(), "");
  const std::string told = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(told, '\n'), 2) << told;
  EXPECT_NE(told.find("vicinix::LinuxHost"), std::string::npos) << told;

  testing::TemporaryDirectory data;
  std::string error;
  EXPECT_EQ(LinuxHost::create({.bluetoothSource = "radio"}, error), nullptr);
  EXPECT_NE(error.find("radio"), std::string::npos) << error;

  {
    test::BackendProcess backend;
    auto host = LinuxHost::create({.appName = "linux-host-test",
                                   .dataDirectory = data.path / "a",
                                   .endpoint = backend.endpoint()},
                                  error);
    ASSERT_NE(host, nullptr) << error;
    EXPECT_EQ(LinuxHost::create({}, error), nullptr) << "a second host in one process";
    Vicinix::start("demo-app-key");
    Vicinix::applicationDidBecomeActive();
    const ShutdownReport report = host->shutdown(10s);
    EXPECT_TRUE(report.uploaded);
    EXPECT_EQ(report.eventsStored, 0);
    const auto events = backend.events();
    for (const char* type : {"NEW_INSTALLATION", "APP_STARTED", "APP_CLOSED"}) {
      EXPECT_TRUE(received(events, type)) << type << " missing from " << events.dump();
    }
  }

  // A backend that takes the request and never answers: the bound wins, and
  // the events stay for the next start.
  test::LoopbackHttpServer silent(std::nullopt);
  auto host = LinuxHost::create(
      {.dataDirectory = data.path / "b", .endpoint = silent.url() + "/graphql"}, error);
  ASSERT_NE(host, nullptr) << error;
  Vicinix::start("demo-app-key");
  const ShutdownReport report = host->shutdown(300ms);
  EXPECT_FALSE(report.uploaded);
  EXPECT_GE(report.eventsStored, 2) << "the installation and the closing events";
}

}  // namespace
}  // namespace vicinix
