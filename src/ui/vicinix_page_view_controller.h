#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "data/model/block.h"
#include "ui/custom_button.h"
#include "ui/styled_text.h"
#include "ui/vicinix_detail_view_controller.h"
#include "ui/vicinix_info_view.h"

namespace vicinix {

// The native page of a "PAGE" campaign: its blocks top to bottom on a
// scrolling view, laid out once when the view loads. Each draw operation
// takes the running vertical position and returns the height it used.
class VicinixPageViewController : public VicinixDetailViewController {
 public:
  VicinixPageViewController();

  void viewDidLoad() override;
  // Opening the page counts as having seen the campaigns: the badge goes.
  void viewWillAppear(bool animated) override;

  void drawCampaign();
  double draw(const Block& block, double y);
  double drawTitle(const Block& block, double y);
  double drawHeading(const Block& block, double y);
  double drawText(const Block& block, double y);
  double drawImage(const Block& block, double y);
  double drawOrderedList(const Block& block, double y);
  double drawUnorderedList(const Block& block, double y);
  double drawButton(const Block& block, double y);

  double drawLabel(const std::string& text, const Font& font, const Color& color,
                   TextAlignment alignment, Point position);
  double drawAttributedLabel(const StyledText& text, Point position);
  // The theme's line height, as a multiple, over the whole text.
  StyledText addLineHeight(const StyledText& string);

  // Opens the link of a page button, if it holds one.
  void openLink(const CustomButton& sender);

  // Null in a headless host.
  std::shared_ptr<ScrollView> scrollView;
  // Every view drawn onto the page, in drawing order.
  std::vector<std::shared_ptr<View>> views;
  // The notice shown instead of the page when there is no campaign.
  std::optional<VicinixInfoView> infoScreen;

 protected:
  std::string className() const override { return "VicinixPageViewController"; }

 private:
  double drawList(const Block& block, double y, bool numbered);
  double placeLabel(const std::shared_ptr<Label>& label, double width);
  StyledText markdown(const std::string& text);
  double pageWidth();

  // The page buttons; a button's action reaches its CustomButton weakly.
  std::vector<std::shared_ptr<CustomButton>> buttons_;
};

}  // namespace vicinix
