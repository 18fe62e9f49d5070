#pragma once

#include <memory>
#include <string>

namespace vicinix {

// A screen as the host's windowing sees it: something presented modally on
// top of another, which may itself present one.
class ViewController {
 public:
  virtual ~ViewController() = default;

  // The screen shown on top of this one, if any.
  virtual std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  virtual void present(std::shared_ptr<ViewController> controller, bool animated) {
    (void)animated;
    presented_ = std::move(controller);
  }
  // What the screen shows, in one line, for logs and headless hosts.
  virtual std::string description() const = 0;

 private:
  std::shared_ptr<ViewController> presented_;
};

}  // namespace vicinix
