#include "ui/qt/qt_view_core.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ui/qt/qt_view_widget.h"

namespace vicinix {
namespace {

int pixel(double coordinate) {
  return static_cast<int>(std::floor(coordinate + 0.5));
}

}  // namespace

std::string colorString(const Color& color) {
  auto byte = [](double component) {
    return static_cast<unsigned>(std::lround(std::clamp(component, 0.0, 1.0) * 255));
  };
  char text[10];
  if (color.alpha >= 1) {
    std::snprintf(text, sizeof text, "#%02X%02X%02X", byte(color.red), byte(color.green),
                  byte(color.blue));
  } else {
    std::snprintf(text, sizeof text, "#%02X%02X%02X%02X", byte(color.red), byte(color.green),
                  byte(color.blue), byte(color.alpha));
  }
  return text;
}

QtViewCore::QtViewCore(QWidget* widget, bool owned) : widget_(widget), owned_(owned) {}

QtViewCore::~QtViewCore() {
  for (const auto& subview : subviews_) {
    QtViewCore* core = of(*subview);
    core->superview_ = nullptr;
    // Views held elsewhere keep their widgets; the others go with their view below.
    if (core->widget_ && subview.use_count() > 1) core->attachWidget(nullptr);
  }
  subviews_.clear();
  if (owned_ && widget_) delete widget_.data();
}

QtViewCore* QtViewCore::of(const View& view) {
  return dynamic_cast<QtViewCore*>(const_cast<View*>(&view));
}

void QtViewCore::setFrameCore(const Rect& frame) {
  Size old = frame_.size();
  frame_ = frame;
  applyGeometry();
  double dw = frame.width - old.width, dh = frame.height - old.height;
  if (dw == 0 && dh == 0) return;
  for (const auto& subview : subviews_) {
    QtViewCore* core = of(*subview);
    if (!core->resizesWidth_ && !core->resizesHeight_) continue;
    Rect f = core->frame_;
    if (core->resizesWidth_) f.width = std::max(0.0, f.width + dw);
    if (core->resizesHeight_) f.height = std::max(0.0, f.height + dh);
    core->setFrameCore(f);
  }
}

void QtViewCore::applyGeometry() {
  if (!owned_ || !widget_) return;
  int left = pixel(frame_.x), top = pixel(frame_.y);
  widget_->setGeometry(left, top, std::max(0, pixel(frame_.maxX()) - left),
                       std::max(0, pixel(frame_.maxY()) - top));
}

void QtViewCore::applyBackground() {
  if (auto* view = dynamic_cast<QtViewWidget*>(widget_.data())) {
    view->setBackground(qColor(background_));
    view->setCornerRadius(cornerRadius_);
    view->setClipsContent(clips_);
  }
}

void QtViewCore::setBackgroundCore(const Color& color) {
  background_ = color;
  applyBackground();
}

void QtViewCore::setCornerRadiusCore(double radius) {
  cornerRadius_ = radius;
  applyBackground();
}

void QtViewCore::setClipsCore(bool clips) {
  // A widget always clips its children to its rectangle; this decides
  // whether the view's own content also keeps inside its rounded corners.
  clips_ = clips;
  applyBackground();
}

void QtViewCore::setResizesCore(bool width, bool height) {
  resizesWidth_ = width;
  resizesHeight_ = height;
}

void QtViewCore::setHiddenCore(bool hidden) {
  hidden_ = hidden;
  // A widget without a parent is a window of its own: showing it would open one.
  if (widget_ && widget_->parentWidget() != nullptr) widget_->setVisible(!hidden);
}

void QtViewCore::attachWidget(QWidget* parent) {
  if (!widget_) return;
  widget_->setParent(parent);
  if (parent == nullptr) return;
  applyGeometry();
  widget_->setVisible(!hidden_);
  widget_->raise();
}

void QtViewCore::addSubviewCore(const std::shared_ptr<View>& view) {
  QtViewCore* child = view ? of(*view) : nullptr;
  if (child == nullptr || child == this) return;
  std::shared_ptr<View> keep = view;
  child->removeFromSuperviewCore();
  child->superview_ = this;
  subviews_.push_back(std::move(keep));
  child->attachWidget(container());
}

void QtViewCore::removeFromSuperviewCore() {
  QtViewCore* parent = superview_;
  if (parent == nullptr) return;
  superview_ = nullptr;
  attachWidget(nullptr);
  auto it = std::find_if(parent->subviews_.begin(), parent->subviews_.end(),
                         [this](const std::shared_ptr<View>& v) { return of(*v) == this; });
  if (it == parent->subviews_.end()) return;
  // The superview may have held the last reference: this view goes away
  // when `self` does, after the last use of a member.
  std::shared_ptr<View> self = std::move(*it);
  parent->subviews_.erase(it);
}

nlohmann::ordered_json QtViewCore::describe() const {
  Rect f = currentFrame();
  nlohmann::ordered_json out = {
      {"kind", kind()},
      {"frame", {{"x", f.x}, {"y", f.y}, {"width", f.width}, {"height", f.height}}}};
  if (background_.alpha > 0) out["backgroundColor"] = colorString(background_);
  if (cornerRadius_ > 0) out["cornerRadius"] = cornerRadius_;
  if (hidden_) out["hidden"] = true;
  describeContent(out);
  if (!subviews_.empty()) {
    nlohmann::ordered_json children = nlohmann::ordered_json::array();
    for (const auto& subview : subviews_) children.push_back(of(*subview)->describe());
    out["subviews"] = std::move(children);
  }
  return out;
}

}  // namespace vicinix
