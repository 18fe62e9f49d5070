#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "ui/fake/fake_views.h"

namespace vicinix {

// A browser view that loads nothing: it records what it was asked to load,
// and a test plays the page's arrival with finishLoading().
class FakeWebView final : public FakeViewOf<WebView, FakeViewKind::webView> {
 public:
  struct Load {
    std::string url;
    std::chrono::milliseconds timeout;
  };

  void load(const std::string& url, std::chrono::milliseconds timeout) override;
  void setOpaque(bool value) override { opaque = value; }
  std::string url() const override { return loads.empty() ? "" : loads.back().url; }
  std::string title() const override { return pageTitle; }
  void setLoadFinished(std::function<void(bool ok)> handler) override {
    loadFinished = std::move(handler);
  }

  // The last load ends: with `title` when it loaded, with no page when not.
  void finishLoading(bool ok, const std::string& title = "");

  std::vector<Load> loads;
  bool opaque = true;
  std::string pageTitle;
  std::function<void(bool ok)> loadFinished;

 protected:
  std::string details() const override;
};

}  // namespace vicinix
