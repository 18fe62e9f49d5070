#pragma once

#include <memory>
#include <string>

#include "platform/view_controller.h"

namespace vicinix {

// The key window's root when the host shows none of its own: each screen
// presented on it is announced as one line "present: <description>" on
// standard output and then let go, so the next one is presented on the root
// again.
class HeadlessRootViewController final : public ViewController {
 public:
  std::shared_ptr<ViewController> presentedViewController() const override { return nullptr; }
  void present(std::shared_ptr<ViewController> controller, bool animated) override;
  std::string description() const override { return "headless root"; }
};

}  // namespace vicinix
