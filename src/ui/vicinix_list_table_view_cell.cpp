#include "ui/vicinix_list_table_view_cell.h"

#include <vicinix/vicinix_appearance.h>

#include <algorithm>

namespace vicinix {
namespace {

// Between the title and the subtitle.
constexpr double kTextGap = 2;

}  // namespace

VicinixListTableViewCell::VicinixListTableViewCell(const Toolkit& toolkit, double width)
    : toolkit_(toolkit), width_(width) {}

double VicinixListTableViewCell::textWidth() const {
  return std::max(0.0, width_ - textLeft - margin);
}

int VicinixListTableViewCell::numberOfLines(const Toolkit& toolkit, const std::string& text,
                                            const Font& font, double width) {
  if (text.empty()) return 0;
  const double line = toolkit.boundingSize("a", font, width).height;
  if (line <= 0) return 0;
  return static_cast<int>(toolkit.boundingSize(text, font, width).height / line);
}

double VicinixListTableViewCell::subtitleBottomConstant(int subtitleLines) {
  return subtitleLines < 2 ? 27 : 12;
}

TableCell VicinixListTableViewCell::layout(const Campaign& campaign,
                                           const std::optional<Image>& image) const {
  const double width = textWidth();
  const Font titleFont = Font::system(titlePointSize, FontWeight::semibold);
  const Font subtitleFont = Font::system(subtitlePointSize);
  const double titleLine = toolkit_.boundingSize("a", titleFont, width).height;
  const double subtitleLine = toolkit_.boundingSize("a", subtitleFont, width).height;

  const int lines = numberOfLines(toolkit_, campaign.listText, subtitleFont, width);
  const int shown = std::clamp(lines, 1, subtitleMaxLines);
  const double subtitleHeight = shown * subtitleLine;
  const double subtitleY = rowHeight - subtitleBottomConstant(lines) - subtitleHeight;

  TableCell cell;
  cell.title = {campaign.listTitle,
                titleFont,
                VicinixAppearance::titleColor(),
                {textLeft, subtitleY - kTextGap - titleLine, width, titleLine},
                1};
  cell.subtitle = {campaign.listText,
                   subtitleFont,
                   VicinixAppearance::textColor(),
                   {textLeft, subtitleY, width, subtitleHeight},
                   subtitleMaxLines};
  cell.image = image;
  cell.imageFrame = {margin, (rowHeight - imageSize) / 2, imageSize, imageSize};
  return cell;
}

}  // namespace vicinix
