#include "ui/qt/qt_web_view.h"

#include <QUrl>
#include <QWebEnginePage>
#include <QWebEngineView>

#include "ui/qt/qt_view_widget.h"

namespace vicinix {

QtWebView::QtWebView() : QtView(new QWebEngineView, true) {
  timeout_.setSingleShot(true);
  // A coarse timer may fire up to 5 % late; a minute should be a minute.
  timeout_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timeout_, &QTimer::timeout, &timeout_, [this] {
    // Reported here; the failed load the engine reports for stop() is not
    // reported again.
    finish(false);
    timedOut_ = true;
    if (QWebEngineView* view = engineView()) view->stop();
  });
  // The timer is the connections' context: it goes before the widget does.
  // Also the navigations the page makes itself (a link, a script), which
  // are reported as they end, without our timeout.
  // A busy engine may announce the start of a load only after it timed out;
  // that start and its end are not a new load.
  QObject::connect(engineView(), &QWebEngineView::loadStarted, &timeout_, [this] {
    if (timedOut_) return;
    loading_ = true;
    loaded_ = false;
  });
  QObject::connect(engineView(), &QWebEngineView::loadFinished, &timeout_, [this](bool ok) {
    if (timedOut_) {
      timedOut_ = false;  // the end of the stopped load; later ones are the page's own
      return;
    }
    finish(ok);
  });
  applyBackground();
}

QWebEngineView* QtWebView::engineView() const {
  return static_cast<QWebEngineView*>(widget());
}

void QtWebView::load(const std::string& url, std::chrono::milliseconds timeout) {
  QWebEngineView* view = engineView();
  if (view == nullptr) return;
  url_ = url;
  timedOut_ = false;
  loading_ = true;
  loaded_ = false;
  timeout_.start(timeout);
  // Strict: the caller checked the text is a URL, and it goes out as written.
  view->load(QUrl(QString::fromStdString(url), QUrl::StrictMode));
}

void QtWebView::finish(bool ok) {
  if (!loading_) return;
  loading_ = false;
  loaded_ = ok;
  timeout_.stop();
  // The handler may load again or replace itself: run a copy.
  if (auto handler = loadFinished_) handler(ok);
}

void QtWebView::setOpaque(bool opaque) {
  opaque_ = opaque;
  applyBackground();
}

std::string QtWebView::title() const {
  QWebEngineView* view = engineView();
  if (view == nullptr || !loaded_) return "";
  return view->title().toStdString();
}

void QtWebView::setLoadFinished(std::function<void(bool ok)> handler) {
  loadFinished_ = std::move(handler);
}

// The page paints over the engine's own background: clear when the view is
// not opaque, so a page without a background shows the screen beneath.
void QtWebView::applyBackground() {
  QWebEngineView* view = engineView();
  if (view == nullptr) return;
  QColor color = opaque_ ? qColor(background_) : QColor(Qt::transparent);
  if (opaque_ && color.alpha() < 255) color = Qt::white;
  view->page()->setBackgroundColor(color);
}

void QtWebView::describeContent(nlohmann::ordered_json& out) const {
  out["url"] = url_;
  out["opaque"] = opaque_;
  if (loaded_) out["title"] = title();
}

}  // namespace vicinix
