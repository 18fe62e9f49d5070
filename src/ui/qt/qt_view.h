#pragma once

#include "ui/qt/qt_view_core.h"

namespace vicinix {

// A toolkit view interface (View, Label, ...) answered by a QtViewCore; each
// Qt view kind derives from QtView<its interface>.
template <class Interface>
class QtView : public Interface, public QtViewCore {
 public:
  Rect frame() const override { return currentFrame(); }
  void setFrame(const Rect& frame) override { setFrameCore(frame); }
  void setBackgroundColor(const Color& color) override { setBackgroundCore(color); }
  void setCornerRadius(double radius) override { setCornerRadiusCore(radius); }
  void setClipsToBounds(bool clips) override { setClipsCore(clips); }
  void setResizesWithSuperview(bool width, bool height) override { setResizesCore(width, height); }
  void setHidden(bool hidden) override { setHiddenCore(hidden); }
  void addSubview(const std::shared_ptr<View>& view) override { addSubviewCore(view); }
  void removeFromSuperview() override { removeFromSuperviewCore(); }
  View* superview() const override {
    return superviewCore() != nullptr ? &superviewCore()->view() : nullptr;
  }
  Size sizeThatFits(Size size) const override { return fittingSize(size); }
  View& view() override { return *this; }

 protected:
  using QtViewCore::QtViewCore;
};

// A plain rectangle that holds other views.
class QtPlainView final : public QtView<View> {
 public:
  QtPlainView();

 protected:
  const char* kind() const override { return "view"; }
};

// The host's own window as a view the SDK may add subviews to (the progress
// overlay). The window stays the host's: it is never deleted, moved or
// resized by the SDK, and its frame is its current size.
class QtWindowView final : public QtView<View> {
 public:
  explicit QtWindowView(QWidget* window);

 protected:
  const char* kind() const override { return "window"; }
  Rect currentFrame() const override;
};

}  // namespace vicinix
