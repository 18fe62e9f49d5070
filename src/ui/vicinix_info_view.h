#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ui/toolkit.h"

namespace vicinix {

// A screen-sized notice: a picture tinted in the theme's primary colour with
// a message centred under it. Screens show it for an empty list, a campaign
// that cannot be loaded and an SDK version the backend has disabled. Add
// view() to a screen to show it.
class VicinixInfoView {
 public:
  // `offset` lifts the picture above the screen's centre, to make up for
  // whatever covers the top of the screen.
  VicinixInfoView(Toolkit& toolkit, double offset, const std::optional<Image>& image,
                  const std::optional<std::string>& text);

  const std::shared_ptr<View>& view() const { return view_; }
  const std::shared_ptr<ImageView>& iconView() const { return icon_; }
  const std::shared_ptr<Label>& label() const { return label_; }

 private:
  std::shared_ptr<View> view_;
  std::shared_ptr<ImageView> icon_;
  std::shared_ptr<Label> label_;
};

}  // namespace vicinix
