#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/application.h"

namespace vicinix {

// The host application as a test sees it: the badge, the fetch interval, the
// URLs opened and a root screen that keeps what is presented on it.
class FakeApplication final : public Application {
 public:
  FakeApplication();

  int64_t applicationIconBadgeNumber() const override { return badge_; }
  void setApplicationIconBadgeNumber(int64_t number) override { badge_ = number; }
  void setMinimumBackgroundFetchInterval(double seconds) override { fetchInterval_ = seconds; }
  double minimumBackgroundFetchInterval() const override { return fetchInterval_; }
  void openURL(const std::string& url) override { openedURLs_.push_back(url); }
  std::shared_ptr<ViewController> keyWindowRootViewController() override { return root_; }
  std::string localizedString(const std::string& key) const override {
    auto found = translations_.find(key);
    return found == translations_.end() ? key : found->second;
  }

  // The host's string table; empty: nothing is translated.
  void setTranslations(std::map<std::string, std::string> translations) {
    translations_ = std::move(translations);
  }

  // Null means the host shows no window.
  void setRoot(std::shared_ptr<ViewController> root) { root_ = std::move(root); }
  const std::shared_ptr<ViewController>& root() const { return root_; }
  const std::vector<std::string>& openedURLs() const { return openedURLs_; }

 private:
  int64_t badge_ = 0;
  double fetchInterval_ = 0;
  std::vector<std::string> openedURLs_;
  std::shared_ptr<ViewController> root_;
  std::map<std::string, std::string> translations_;
};

}  // namespace vicinix
