#pragma once

#include <vicinix/export.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/application.h"
#include "platform/linux/launcher_entry.h"
#include "platform/log.h"

namespace vicinix {

// The host application on a Linux desktop. The badge is kept, and shown as
// the count on the application's launcher icon where the dock shows counts;
// URLs go to xdg-open; the key window's root is the host's, or a headless one
// that prints what it is given. Main queue only.
class VICINIX_EXPORT LinuxApplication final : public Application {
 public:
  // `log` gets a system line when a URL cannot be handed over. `desktopId`
  // names the host's desktop entry (without ".desktop"), which docks match
  // the badge to.
  explicit LinuxApplication(std::shared_ptr<Log> log = nullptr,
                            const std::string& desktopId = "vicinix");

  int64_t applicationIconBadgeNumber() const override { return badgeNumber_; }
  void setApplicationIconBadgeNumber(int64_t number) override {
    badgeNumber_ = number;
    launcherEntry_.setCount(number);
  }
  void setMinimumBackgroundFetchInterval(double seconds) override { fetchInterval_ = seconds; }
  double minimumBackgroundFetchInterval() const override { return fetchInterval_; }
  // Runs xdg-open without a shell and does not wait for it.
  void openURL(const std::string& url) override;
  std::shared_ptr<ViewController> keyWindowRootViewController() override { return root_; }
  // gettext in the host's text domain (textdomain() and bindtextdomain() are
  // the host's to call, with setlocale()); untranslated when it set none.
  std::string localizedString(const std::string& key) const override;

  // The screen the SDK presents its own on. Null shows nothing.
  void setKeyWindowRootViewController(std::shared_ptr<ViewController> root) {
    root_ = std::move(root);
  }

 private:
  std::shared_ptr<Log> log_;
  int64_t badgeNumber_ = 0;
  LauncherEntry launcherEntry_;
  double fetchInterval_ = 0;
  std::shared_ptr<ViewController> root_;
};

}  // namespace vicinix
