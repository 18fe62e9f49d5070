#pragma once

#include <vicinix/export.h>

#include <memory>
#include <string>

namespace vicinix {

// A screen as the host's windowing sees it: something presented modally on
// top of another, which may itself present one. Main queue only.
class VICINIX_EXPORT ViewController : public std::enable_shared_from_this<ViewController> {
 public:
  virtual ~ViewController() = default;

  // The screen shown on top of this one, if any.
  virtual std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  // The screen this one is shown on top of, if any.
  std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }
  virtual void present(std::shared_ptr<ViewController> controller, bool animated) {
    (void)animated;
    if (controller) controller->presenting_ = weak_from_this();
    presented_ = std::move(controller);
  }
  // Takes away the screen this one presents; called on a presented screen,
  // asks its presenter to take it away.
  virtual void dismiss(bool animated) {
    if (presented_) {
      presented_->presenting_.reset();
      presented_.reset();
    } else if (auto presenting = presentingViewController()) {
      presenting->dismiss(animated);
    }
  }
  // What the screen shows, in one line, for logs and headless hosts.
  virtual std::string description() const = 0;

 private:
  std::shared_ptr<ViewController> presented_;
  std::weak_ptr<ViewController> presenting_;
};

}  // namespace vicinix
