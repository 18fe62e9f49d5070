#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/view_controller.h"

namespace vicinix {

// The host application as the SDK sees it: its badge, its background-fetch
// schedule, its browser and its window. Main queue only.
class Application {
 public:
  virtual ~Application() = default;

  virtual int64_t applicationIconBadgeNumber() const = 0;
  virtual void setApplicationIconBadgeNumber(int64_t number) = 0;
  // How often the host should call Vicinix::performBackgroundFetch, at least.
  virtual void setMinimumBackgroundFetchInterval(double seconds) = 0;
  virtual double minimumBackgroundFetchInterval() const = 0;
  // Hands `url` to the desktop's default handler.
  virtual void openURL(const std::string& url) = 0;
  // The root screen of the key window; null when the host shows none.
  virtual std::shared_ptr<ViewController> keyWindowRootViewController() = 0;
  // The host's translation of `key` from its own string table; the key
  // itself when the host has none for it.
  virtual std::string localizedString(const std::string& key) const { return key; }
};

}  // namespace vicinix
