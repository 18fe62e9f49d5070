#pragma once

#include <any>
#include <memory>

#include "ui/toolkit.h"

namespace vicinix {

// A toolkit button with a value of the caller's choosing attached; the
// campaign page keeps a button's link in it.
class CustomButton {
 public:
  explicit CustomButton(std::shared_ptr<Button> button) : button(std::move(button)) {}

  std::shared_ptr<Button> button;
  std::any userInfo;
};

}  // namespace vicinix
