#include "ui/fake/fake_views.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "ui/fake/fake_text_metric.h"

namespace vicinix {
namespace {

std::string format(const Rect& r) {
  std::ostringstream out;
  out << '(' << r.x << ", " << r.y << ", " << r.width << ", " << r.height << ')';
  return out.str();
}

}  // namespace

std::string_view toString(FakeViewKind kind) {
  switch (kind) {
    case FakeViewKind::view:
      return "view";
    case FakeViewKind::label:
      return "label";
    case FakeViewKind::imageView:
      return "imageView";
    case FakeViewKind::button:
      return "button";
    case FakeViewKind::scrollView:
      return "scrollView";
    case FakeViewKind::activityIndicator:
      return "activityIndicator";
    case FakeViewKind::tableView:
      return "tableView";
    case FakeViewKind::webView:
      return "webView";
  }
  return "?";
}

FakeNode::~FakeNode() {
  for (const auto& child : subviews) of(*child).superview_ = nullptr;
}

FakeNode& FakeNode::of(const View& view) {
  auto* node = dynamic_cast<const FakeNode*>(&view);
  if (node == nullptr) throw std::logic_error("not a view of the fake toolkit");
  return const_cast<FakeNode&>(*node);
}

std::vector<FakeNode*> FakeNode::descendants() const {
  std::vector<FakeNode*> found;
  for (const auto& child : subviews) {
    FakeNode& node = of(*child);
    found.push_back(&node);
    auto below = node.descendants();
    found.insert(found.end(), below.begin(), below.end());
  }
  return found;
}

std::string FakeNode::tree(int depth) const {
  std::string text = std::string(depth * 2, ' ') + std::string(toString(kind())) + ' ' +
                     format(frame_) + (hidden ? " hidden" : "") + details() + '\n';
  for (const auto& child : subviews) text += of(*child).tree(depth + 1);
  return text;
}

// Grows the subviews that follow their superview's size by as much as this
// view grew, as autoresizing does.
void FakeNode::applyFrame(const Rect& newFrame) {
  double dw = newFrame.width - frame_.width;
  double dh = newFrame.height - frame_.height;
  frame_ = newFrame;
  if (dw == 0 && dh == 0) return;
  for (const auto& child : subviews) {
    FakeNode& node = of(*child);
    if (!node.resizesWidth && !node.resizesHeight) continue;
    Rect f = node.frame_;
    if (node.resizesWidth) f.width += dw;
    if (node.resizesHeight) f.height += dh;
    node.view().setFrame(f);
  }
}

void FakeNode::add(const std::shared_ptr<View>& child) {
  FakeNode& node = of(*child);
  // Adding a view that has a superview moves it, to the front.
  auto keep = child;
  node.removeFromParent();
  subviews.push_back(keep);
  node.superview_ = &view();
}

void FakeNode::removeFromParent() {
  if (superview_ == nullptr) return;
  auto& siblings = of(*superview_).subviews;
  auto found = std::find_if(siblings.begin(), siblings.end(),
                            [this](const auto& sibling) { return &of(*sibling) == this; });
  superview_ = nullptr;
  if (found == siblings.end()) return;
  // The superview may hold the last reference: let it go after the erase returns.
  auto keep = *found;
  siblings.erase(found);
}

Size FakeLabel::sizeThatFits(Size size) const {
  if (styledText) return FakeTextMetric::layout(*styledText, size.width, numberOfLines).size;
  return FakeTextMetric::layout(text, font, size.width, numberOfLines).size;
}

std::string FakeLabel::details() const {
  return std::string(styledText ? " styled" : "") + " \"" + text + '"';
}

Size FakeImageView::sizeThatFits(Size size) const {
  if (!image) return FakeViewOf::sizeThatFits(size);
  return {static_cast<double>(image->width), static_cast<double>(image->height)};
}

std::string FakeImageView::details() const {
  if (!image) return "";
  return " image " + std::to_string(image->width) + "x" + std::to_string(image->height);
}

Size FakeButton::sizeThatFits(Size size) const {
  (void)size;
  return FakeTextMetric::layout(title, titleFont, 0).size;
}

std::string FakeButton::details() const {
  return " \"" + title + '"';
}

}  // namespace vicinix
