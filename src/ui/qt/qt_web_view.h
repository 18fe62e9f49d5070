#pragma once

#include <QTimer>

#include "ui/qt/qt_view.h"

class QWebEngineView;

namespace vicinix {

// A campaign's web page in Qt WebEngine (Chromium), so pages behave as they
// do in any browser. The engine never gives up on a server that accepts and
// stays silent, so the load timeout is our own timer. Needs
// QtToolkit::prepareApplication() before the QApplication is made.
class QtWebView final : public QtView<WebView> {
 public:
  QtWebView();

  void load(const std::string& url, std::chrono::milliseconds timeout) override;
  void setOpaque(bool opaque) override;
  std::string url() const override { return url_; }
  std::string title() const override;
  void setLoadFinished(std::function<void(bool ok)> handler) override;

  QWebEngineView* engineView() const;

 protected:
  const char* kind() const override { return "web"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  void applyBackground() override;

 private:
  void finish(bool ok);

  std::string url_;
  bool opaque_ = true;
  bool loading_ = false;
  // The last load() ran out of time; the engine's later reports of it are ignored.
  bool timedOut_ = false;
  bool loaded_ = false;
  std::function<void(bool ok)> loadFinished_;
  QTimer timeout_;
};

}  // namespace vicinix
