#include "ui/fake/fake_web_view.h"

namespace vicinix {

void FakeWebView::load(const std::string& address, std::chrono::milliseconds timeout) {
  loads.push_back({address, timeout});
  pageTitle.clear();
}

void FakeWebView::finishLoading(bool ok, const std::string& title) {
  pageTitle = ok ? title : "";
  if (auto handler = loadFinished) handler(ok);
}

std::string FakeWebView::details() const {
  return loads.empty() ? "" : " \"" + loads.back().url + '"';
}

}  // namespace vicinix
