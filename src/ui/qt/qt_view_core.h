#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "ui/toolkit.h"

namespace vicinix {

// The Qt side of every toolkit view: the widget that draws it, its subviews
// and the frame as the screens set it. Frames are kept exactly as given and
// the widget gets them rounded to whole pixels.
//
// Ownership: the view owns its widget, and the widget of a subview is a
// child of its superview's widget while the subview is added. A superview
// that goes away hands the widgets of subviews still held elsewhere back to
// their views, so Qt's parent-deletes-children never frees a widget a view
// still holds.
class QtViewCore {
 public:
  virtual ~QtViewCore();
  QtViewCore(const QtViewCore&) = delete;
  QtViewCore& operator=(const QtViewCore&) = delete;

  // The Qt view behind `view`; null for a view of another toolkit.
  static QtViewCore* of(const View& view);

  // Null once something else deleted it (a host closing its window).
  QWidget* widget() const { return widget_; }
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  QtViewCore* superviewCore() const { return superview_; }
  virtual View& view() = 0;

  // The view and its subviews as the layout file shows them: kind, frame,
  // colours, texts and fonts.
  nlohmann::ordered_json describe() const;

 protected:
  // `owned`: the view deletes the widget when it goes away.
  QtViewCore(QWidget* widget, bool owned);

  virtual const char* kind() const = 0;
  // What this kind adds to describe().
  virtual void describeContent(nlohmann::ordered_json& out) const { (void)out; }
  // Where the widgets of subviews go.
  virtual QWidget* container() const { return widget_; }
  virtual Rect currentFrame() const { return frame_; }
  virtual Size fittingSize(Size size) const {
    (void)size;
    return frame_.size();
  }
  virtual void applyBackground();

  void setFrameCore(const Rect& frame);
  void setBackgroundCore(const Color& color);
  void setCornerRadiusCore(double radius);
  void setClipsCore(bool clips);
  void setResizesCore(bool width, bool height);
  void setHiddenCore(bool hidden);
  void addSubviewCore(const std::shared_ptr<View>& view);
  void removeFromSuperviewCore();

  Color background_{0, 0, 0, 0};
  double cornerRadius_ = 0;
  bool clips_ = false;

 private:
  void applyGeometry();
  // Puts the widget under `parent` (or none) and shows it unless hidden.
  void attachWidget(QWidget* parent);

  QPointer<QWidget> widget_;
  bool owned_;
  Rect frame_;
  bool hidden_ = false;
  bool resizesWidth_ = false;
  bool resizesHeight_ = false;
  QtViewCore* superview_ = nullptr;
  std::vector<std::shared_ptr<View>> subviews_;
};

// "#RRGGBB", or "#RRGGBBAA" when not opaque.
std::string colorString(const Color& color);

}  // namespace vicinix
