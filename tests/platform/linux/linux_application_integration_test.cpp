#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/fake/recording_log.h"
#include "platform/linux/linux_application.h"
#include "platform/linux/temporary_directory.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

struct Screen final : ViewController {
  std::string text;
  explicit Screen(std::string text) : text(std::move(text)) {}
  std::string description() const override { return text; }
};

struct ScopedPath {
  std::string old = std::getenv("PATH");
  explicit ScopedPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
  ~ScopedPath() { setenv("PATH", old.c_str(), 1); }
};

std::string readWhenPresent(const std::filesystem::path& path) {
  for (int attempt = 0; attempt < 1000 && !std::filesystem::exists(path); ++attempt)
    std::this_thread::sleep_for(10ms);
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(LinuxApplication, TheHeadlessRootPrintsEachScreenItIsGivenAndKeepsNone) {
  LinuxApplication application;
  auto root = application.keyWindowRootViewController();
  ASSERT_NE(root, nullptr);

  ::testing::internal::CaptureStdout();
  root->present(std::make_shared<Screen>("campaign abc"), true);
  root->present(std::make_shared<Screen>("campaign def"), false);
  std::string printed = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(printed, "present: campaign abc\npresent: campaign def\n");
  // The SDK presents on the topmost screen; the next one must land on the root again.
  EXPECT_EQ(root->presentedViewController(), nullptr);
}

TEST(LinuxApplication, OpensAUrlWithXdgOpenAsOneArgumentWithoutAShellAndSaysWhyNot) {
  testing::TemporaryDirectory bin;
  std::filesystem::path script = bin.path / "xdg-open";
  std::ofstream(script) << "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" > \"$0.args.tmp\"\n"
                           "/bin/mv \"$0.args.tmp\" \"$0.args\"\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  ScopedPath path(bin.path.string());
  auto log = std::make_shared<RecordingLog>();
  LinuxApplication application(log);

  application.openURL("--help");  // would be an option of xdg-open's
  application.openURL("");
  const std::string url = "https://example.test/a b?x='1'&y=\"2\";touch $HOME/oops";
  application.openURL(url);
  EXPECT_EQ(readWhenPresent(bin.path / "xdg-open.args"), "1\n" + url + "\n");
  std::filesystem::remove(script);
  application.openURL("https://example.test");

  auto lines = log->systemLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "not opening \"--help\": not a URL");
  EXPECT_EQ(lines[1], "not opening \"\": not a URL");
  EXPECT_EQ(lines[2].rfind("cannot open \"https://example.test\": ", 0), 0u) << lines[2];
}

}  // namespace
}  // namespace vicinix
