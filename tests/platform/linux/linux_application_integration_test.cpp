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

class Screen final : public ViewController {
 public:
  explicit Screen(std::string text) : text_(std::move(text)) {}
  std::string description() const override { return text_; }

 private:
  std::string text_;
};

class ScopedPath {
 public:
  explicit ScopedPath(const std::string& path) {
    if (const char* old = std::getenv("PATH")) old_ = old;
    setenv("PATH", path.c_str(), 1);
  }
  ~ScopedPath() { setenv("PATH", old_.c_str(), 1); }

 private:
  std::string old_;
};

std::string readWhenPresent(const std::filesystem::path& path) {
  for (int attempt = 0; attempt < 1000 && !std::filesystem::exists(path); ++attempt) {
    std::this_thread::sleep_for(10ms);
  }
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
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

TEST(LinuxApplication, OpensAUrlWithXdgOpenAsOneArgumentWithoutAShell) {
  testing::TemporaryDirectory bin;
  std::filesystem::path script = bin.path / "xdg-open";
  std::ofstream(script) << "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" > \"$0.args.tmp\"\n"
                           "mv \"$0.args.tmp\" \"$0.args\"\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  ScopedPath path(bin.path.string() + ":/usr/bin:/bin");

  const std::string url = "https://example.test/a b?x='1'&y=\"2\";touch $HOME/oops";
  LinuxApplication().openURL(url);

  EXPECT_EQ(readWhenPresent(bin.path / "xdg-open.args"), "1\n" + url + "\n");
}

TEST(LinuxApplication, SaysWhyAUrlWasNotOpened) {
  testing::TemporaryDirectory emptyBin;
  ScopedPath path(emptyBin.path.string());
  auto log = std::make_shared<RecordingLog>();
  LinuxApplication application(log);

  application.openURL("--help");  // would be an option of xdg-open's
  application.openURL("");
  application.openURL("https://example.test");  // no xdg-open on PATH

  auto lines = log->systemLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "not opening \"--help\": not a URL");
  EXPECT_EQ(lines[1], "not opening \"\": not a URL");
  EXPECT_EQ(lines[2].rfind("cannot open \"https://example.test\": ", 0), 0u) << lines[2];
}

}  // namespace
}  // namespace vicinix
