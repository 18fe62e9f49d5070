#pragma once

#include <optional>
#include <string>

#include "data/model/campaign.h"
#include "ui/toolkit.h"

namespace vicinix {

// One row of the campaign list: the picture in a square on the left, the
// title on one line and up to two lines of subtitle beside it. The subtitle
// sits on the row's bottom edge at subtitleBottomConstant(), so one line and
// two both leave the texts centred in the row.
class VicinixListTableViewCell {
 public:
  static constexpr double rowHeight = 80;
  static constexpr double imageSize = 64;
  static constexpr double textLeft = 92;  // the picture, a 12-point gap
  static constexpr double margin = 16;
  static constexpr double titlePointSize = 16;
  static constexpr double subtitlePointSize = 14;
  static constexpr int subtitleMaxLines = 2;

  // A row `width` wide, measured with `toolkit`.
  VicinixListTableViewCell(const Toolkit& toolkit, double width);

  // The row of `campaign`, with its list picture when there is one.
  TableCell layout(const Campaign& campaign, const std::optional<Image>& image) const;

  // How many lines `text` takes in `font` at `width`: its height over the
  // height of a single "a", truncated; 0 without text.
  static int numberOfLines(const Toolkit& toolkit, const std::string& text, const Font& font,
                           double width);
  // 27 under a subtitle of fewer than two lines, 12 under two or more.
  static double subtitleBottomConstant(int subtitleLines);

  double textWidth() const;

 private:
  const Toolkit& toolkit_;
  double width_;
};

}  // namespace vicinix
