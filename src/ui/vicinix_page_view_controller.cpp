#include "ui/vicinix_page_view_controller.h"

#include <vicinix/vicinix_appearance.h>

#include <algorithm>
#include <charconv>

#include "base/fatal.h"
#include "base/sdk.h"
#include "base/url.h"
#include "campaigns/image_downloader.h"
#include "data/model/block_factory.h"
#include "data/model/campaign_factory.h"
#include "ui/markdown_renderer.h"

namespace vicinix {
namespace {

const Color kLightGray{2.0 / 3, 2.0 / 3, 2.0 / 3, 1};

std::optional<Attribute> firstAttribute(const std::vector<Attribute>& attributes,
                                        std::string_view key) {
  for (const Attribute& attribute : attributes) {
    if (attribute.key == key) return attribute;
  }
  return std::nullopt;
}

// A whole decimal number with an optional sign, nothing around it.
std::optional<int64_t> parseInteger(std::string_view text) {
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || text.front() == '-') return std::nullopt;
  }
  int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

VicinixPageViewController::VicinixPageViewController() {
  if (Toolkit* kit = toolkit()) scrollView = kit->makeScrollView();
}

void VicinixPageViewController::viewDidLoad() {
  VicinixDetailViewController::viewDidLoad();
  if (!campaign) {
    Toolkit& kit = *toolkit();
    infoScreen.emplace(kit, topDistance(), kit.resourceImage("campaignError"),
                       "Kampaň se nepodařilo načíst.");
    view()->addSubview(infoScreen->view());
    return;
  }
  if (!scrollView) scrollView = toolkit()->makeScrollView();
  scrollView->setFrame(view()->bounds());
  scrollView->setResizesWithSuperview(true, true);
  view()->addSubview(scrollView);
  drawCampaign();
}

void VicinixPageViewController::viewWillAppear(bool animated) {
  VicinixDetailViewController::viewWillAppear(animated);
  Sdk::current().application().setApplicationIconBadgeNumber(0);
}

double VicinixPageViewController::pageWidth() {
  return view()->bounds().width;
}

void VicinixPageViewController::drawCampaign() {
  auto blocks = CampaignFactory::shared().blocks(*campaign);
  std::stable_sort(blocks.begin(), blocks.end(),
                   [](const Block& a, const Block& b) { return a.sortIndex < b.sortIndex; });
  // A leading picture touches the top edge.
  double y = VicinixAppearance::spacing();
  if (!blocks.empty() && (blocks.front().type == "IMAGE" || blocks.front().type == "VIDEO")) y = 0;
  for (const Block& block : blocks) y += draw(block, y);
  scrollView->setContentSize({pageWidth(), y});
}

double VicinixPageViewController::draw(const Block& block, double y) {
  if (block.type == "TITLE") return drawTitle(block, y);
  if (block.type == "HEADING") return drawHeading(block, y);
  if (block.type == "PARAGRAPH") return drawText(block, y);
  if (block.type == "IMAGE") return drawImage(block, y);
  if (block.type == "ORDERED_LIST") return drawOrderedList(block, y);
  if (block.type == "UNORDERED_LIST") return drawUnorderedList(block, y);
  if (block.type == "BUTTON") return drawButton(block, y);
  return 0;
}

// Every attribute, whatever its key, adds a gap, so a title stands one gap
// lower than other blocks and ends with one more.
double VicinixPageViewController::drawTitle(const Block& block, double y) {
  const double spacing = VicinixAppearance::spacing();
  double consumed = 0;
  for (const Attribute& attribute : BlockFactory::shared().attributes(block)) {
    consumed += spacing;
    if (attribute.key != "text") continue;
    consumed += drawLabel(
        attribute.value, Font::system(VicinixAppearance::titleFontSize(), FontWeight::medium),
        VicinixAppearance::titleColor(), TextAlignment::center, {spacing, y + consumed});
  }
  return consumed + spacing;
}

double VicinixPageViewController::drawHeading(const Block& block, double y) {
  const double spacing = VicinixAppearance::spacing();
  double consumed = 0;
  for (const Attribute& attribute : BlockFactory::shared().attributes(block)) {
    if (attribute.key != "text") continue;
    consumed += drawLabel(
        attribute.value, Font::system(VicinixAppearance::headingFontSize(), FontWeight::medium),
        VicinixAppearance::headingColor(), TextAlignment::left, {spacing, y + consumed});
    consumed += spacing / 2;
  }
  return consumed;
}

double VicinixPageViewController::drawText(const Block& block, double y) {
  const double spacing = VicinixAppearance::spacing();
  double consumed = 0;
  for (const Attribute& attribute : BlockFactory::shared().attributes(block)) {
    if (attribute.key != "text") continue;
    consumed +=
        drawAttributedLabel(addLineHeight(markdown(attribute.value)), {spacing, y + consumed});
    consumed += spacing;
  }
  return consumed;
}

double VicinixPageViewController::drawOrderedList(const Block& block, double y) {
  return drawList(block, y, true);
}

double VicinixPageViewController::drawUnorderedList(const Block& block, double y) {
  return drawList(block, y, false);
}

double VicinixPageViewController::drawList(const Block& block, double y, bool numbered) {
  const double spacing = VicinixAppearance::spacing();
  auto attributes = BlockFactory::shared().attributes(block);
  std::stable_sort(
      attributes.begin(), attributes.end(),
      [](const Attribute& a, const Attribute& b) { return a.sortIndex < b.sortIndex; });
  double consumed = 0;
  int number = 0;
  for (const Attribute& attribute : attributes) {
    if (attribute.key != "text") continue;
    ++number;
    std::string item = (numbered ? std::to_string(number) + ". " : "• ") + attribute.value;
    consumed += drawAttributedLabel(addLineHeight(markdown(item)), {spacing, y + consumed});
    consumed += spacing / 2;
  }
  return consumed + spacing / 2;
}

double VicinixPageViewController::drawImage(const Block& block, double y) {
  auto attributes = BlockFactory::shared().attributes(block);
  auto source = firstAttribute(attributes, "src");
  // Returning the position rather than 0 pushes the rest of the page down by
  // as much again; pages in the field are laid out with this.
  if (!source) return y;
  const double spacing = VicinixAppearance::spacing();
  const double w = pageWidth();

  auto widthAttribute = firstAttribute(attributes, "width");
  std::string widthText = widthAttribute ? widthAttribute->value : "100";
  auto percentage = parseInteger(widthText);
  if (!percentage) fatal("An IMAGE block's width is not a whole number: \"" + widthText + "\"");
  // Over 100 runs edge to edge, 100 keeps the side margins, less is a share of the full width.
  double width = *percentage > 100    ? w
                 : *percentage == 100 ? w - 2 * spacing
                                      : w / 100 * static_cast<double>(*percentage);

  auto imageView = toolkit()->makeImageView();
  imageView->setFrame({spacing, y, width, 100});
  imageView->setBackgroundColor(kLightGray);
  imageView->setCenter({w / 2, imageView->center().y});
  scrollView->addSubview(imageView);
  views.push_back(imageView);

  ImageDownloader& downloader = ImageDownloader::shared();
  const std::string name = source->imageName();
  if (auto cached = downloader.image(name)) {
    imageView->setImage(cached);
    if (cached->width > 0) {
      Rect frame = imageView->frame();
      frame.height = frame.width * cached->height / cached->width;
      imageView->setFrame(frame);
    }
  } else if (!source->value.empty() && std::ranges::find(downloader.downloadQueue(), name) ==
                                           downloader.downloadQueue().end()) {
    downloader.downloadQueue().push_back(name);
    if (auto url = Url::parse(source->value)) {
      // A late picture fills its placeholder as it stands; the page is not laid out again.
      downloader.downloadImageFrom(
          *url, [weakView = std::weak_ptr<ImageView>(imageView)](std::optional<Image> image) {
            auto target = weakView.lock();
            if (!target || !image) return;
            target->setContentMode(ContentMode::aspectFit);
            target->setImage(image);
          });
    }
  }
  return spacing + imageView->frame().height;
}

double VicinixPageViewController::drawButton(const Block& block, double y) {
  const double spacing = VicinixAppearance::spacing();
  const double w = pageWidth();
  auto attributes = BlockFactory::shared().attributes(block);
  auto title = firstAttribute(attributes, "text");
  auto link = firstAttribute(attributes, "link");

  auto custom = std::make_shared<CustomButton>(toolkit()->makeButton());
  Button& button = *custom->button;
  button.setFrame({spacing, y, w - 2 * spacing, 100});
  button.setTitle(title ? title->value : "");
  button.setTitleFont(Font::system(VicinixAppearance::textFontSize(), FontWeight::semibold));
  button.setAction([page = weak_from_this(), sender = std::weak_ptr<CustomButton>(custom)] {
    auto self = page.lock();
    auto target = sender.lock();
    if (self && target) static_cast<VicinixPageViewController&>(*self).openLink(*target);
  });
  button.setBackgroundColor(VicinixAppearance::buttonColor());
  button.setTitleColor(VicinixAppearance::buttonTextColor());
  if (link) custom->userInfo = link->value;
  button.setCornerRadius(4);
  button.setClipsToBounds(true);

  button.sizeToFit();
  Rect fitted = button.frame();
  button.setFrame({fitted.x, fitted.y, fitted.width + 4 * spacing, fitted.height + spacing});
  button.setCenter({w / 2, button.center().y});
  scrollView->addSubview(custom->button);
  views.push_back(custom->button);
  buttons_.push_back(custom);
  return spacing + button.frame().height;
}

void VicinixPageViewController::openLink(const CustomButton& sender) {
  const auto* link = std::any_cast<std::string>(&sender.userInfo);
  if (link == nullptr || !Url::parse(*link)) return;
  Sdk::current().application().openURL(*link);
}

double VicinixPageViewController::drawLabel(const std::string& text, const Font& font,
                                            const Color& color, TextAlignment alignment,
                                            Point position) {
  const double width = pageWidth() - VicinixAppearance::spacing() - position.x;
  auto label = toolkit()->makeLabel();
  label->setFrame({position.x, position.y, width, 10000});
  label->setFont(font);
  label->setTextColor(color);
  label->setText(text);
  label->setTextAlignment(alignment);
  return placeLabel(label, width);
}

double VicinixPageViewController::drawAttributedLabel(const StyledText& text, Point position) {
  const double width = pageWidth() - VicinixAppearance::spacing() - position.x;
  auto label = toolkit()->makeLabel();
  label->setFrame({position.x, position.y, width, 10000});
  label->setStyledText(text);
  return placeLabel(label, width);
}

// Unlimited lines, fitted to the text, then given back its full width: the
// fitted width only matters for the height it yields.
double VicinixPageViewController::placeLabel(const std::shared_ptr<Label>& label, double width) {
  label->setNumberOfLines(0);
  label->sizeToFit();
  const Rect fitted = label->frame();
  label->setFrame({fitted.x, fitted.y, width, fitted.height});
  scrollView->addSubview(label);
  views.push_back(label);
  return fitted.height;
}

// The theme's value multiplies each line's natural height; it is not a
// height in points (5.0 makes lines five times as tall).
StyledText VicinixPageViewController::addLineHeight(const StyledText& string) {
  StyledText styled = string;
  styled.lineHeightMultiple = VicinixAppearance::lineHeight();
  return styled;
}

StyledText VicinixPageViewController::markdown(const std::string& text) {
  MarkdownRenderer renderer(text, toolkit()->fonts());
  renderer.setFontSizeForAllStyles(VicinixAppearance::textFontSize());
  renderer.setFontColorForAllStyles(VicinixAppearance::textColor());
  return renderer.attributedString();
}

}  // namespace vicinix
