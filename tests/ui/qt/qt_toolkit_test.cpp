#include "ui/qt/qt_toolkit.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontInfo>
#include <QTest>
#include <QTextBlock>
#include <QTextFragment>
#include <cmath>

#include "ui/qt/qt_label.h"
#include "ui/qt/qt_view_core.h"

namespace vicinix {
namespace {

const Color kWhite{1, 1, 1, 1};
const Color kBlack{0, 0, 0, 1};
const Color kRed{1, 0, 0, 1};
const Color kBlue{0, 0, 1, 1};

QWidget* widgetOf(const View& view) {
  return QtViewCore::of(view)->widget();
}

QImage grab(const View& view) {
  return widgetOf(view)->grab().toImage().convertToFormat(QImage::Format_ARGB32);
}

// The rows that hold a pixel darker than mid-grey: where text was drawn.
std::pair<int, int> inkRows(const QImage& image) {
  int top = -1, bottom = -1;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (qGray(image.pixel(x, y)) < 128) {
        if (top < 0) top = y;
        bottom = y;
        break;
      }
    }
  }
  return {top, bottom};
}

bool near(QRgb pixel, QColor expected) {
  return std::abs(qRed(pixel) - expected.red()) < 8 &&
         std::abs(qGreen(pixel) - expected.green()) < 8 &&
         std::abs(qBlue(pixel) - expected.blue()) < 8;
}

class QtToolkitTest : public ::testing::Test {
 protected:
  QtToolkit kit{Size{390, 844}};

  std::shared_ptr<Label> label(const std::string& text, double size, double width) {
    auto label = kit.makeLabel();
    label->setFrame({0, 0, width, 10000});
    label->setFont(Font::system(size));
    label->setTextColor(kBlack);
    label->setBackgroundColor(kWhite);
    label->setNumberOfLines(0);
    label->setText(text);
    return label;
  }
};

TEST_F(QtToolkitTest, LabelsFitTheTextTheyDrawAtTheirWidth) {
  const std::string text =
      "Vicinix shows campaign pages with text that wraps over several lines at this width.";
  auto paragraph = label(text, 17, 200);
  paragraph->sizeToFit();
  Rect fitted = paragraph->frame();
  double lineHeight = kit.boundingSize("a", Font::system(17), 200).height;
  EXPECT_LE(fitted.width, 200);
  EXPECT_EQ(fitted.size(), kit.boundingSize(text, Font::system(17), 200));
  EXPECT_GE(fitted.height, 3 * lineHeight) << "the text wraps";
  EXPECT_NEAR(std::fmod(fitted.height, lineHeight), 0, 1.0) << "whole lines, nothing extra";

  // The last line is drawn in the last line's band: nothing is clipped and
  // no empty line is left below it.
  auto [top, bottom] = inkRows(grab(*paragraph));
  EXPECT_GE(top, 0);
  EXPECT_LT(bottom, fitted.height);
  EXPECT_GT(bottom, fitted.height - lineHeight);

  // A label fitted and then kept at its fitted width (as a centred message
  // is) keeps its lines.
  EXPECT_EQ(paragraph->sizeThatFits({fitted.width, 10000}), fitted.size());

  // A word wider than the line is broken rather than drawn past the edge.
  auto word = label("Nejneobhospodařovávatelnějšími", 17, 60);
  word->sizeToFit();
  EXPECT_LE(word->frame().width, 60);
  EXPECT_GT(word->frame().height, lineHeight);
  EXPECT_EQ(label("", 17, 60)->sizeThatFits({60, 10000}), (Size{0, 0}));
}

TEST_F(QtToolkitTest, StyledRunsKeepTheirFacesColoursAndLinks) {
  Font body = kit.fonts().preferredFont(TextStyle::body);
  ASSERT_TRUE(kit.fonts().withBold(body) && kit.fonts().withItalic(body));
  Font bold = *kit.fonts().withBold(body), italic = *kit.fonts().withItalic(body);
  auto text = std::make_shared<QtLabel>(kit.qtFonts());
  text->setStyledText({{{"plain ", body, kBlack, std::nullopt},
                        {"bold ", bold, kRed, std::nullopt},
                        {"italic ", italic, kBlack, std::nullopt},
                        {"link", body, kBlue, "https://example.test/a"}},
                       1});
  struct Seen {
    QString text;
    bool bold, italic, underlined;
    QColor color;
    QString link;
  };
  std::vector<Seen> seen;
  for (auto it = text->document().begin().begin(); !it.atEnd(); ++it) {
    QTextCharFormat f = it.fragment().charFormat();
    seen.push_back({it.fragment().text(), f.font().weight() >= QFont::Bold, f.font().italic(),
                    f.fontUnderline(), f.foreground().color(), f.anchorHref()});
  }
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_FALSE(seen[0].bold || seen[0].italic || seen[0].underlined);
  EXPECT_TRUE(seen[1].bold);
  EXPECT_EQ(seen[1].color, QColor(Qt::red));
  EXPECT_TRUE(seen[2].italic && !seen[2].bold);
  EXPECT_TRUE(seen[3].underlined);
  EXPECT_EQ(seen[3].link, "https://example.test/a");
  EXPECT_EQ(seen[3].color, QColor(Qt::blue));
  EXPECT_EQ(QFontInfo(text->document().begin().begin().fragment().charFormat().font()).pixelSize(),
            15);
}

TEST_F(QtToolkitTest, FontsArePixelSizedFacesOfTheSystemFamily) {
  Font body = kit.fonts().preferredFont(TextStyle::body);
  EXPECT_EQ(body.family, kit.qtFonts().systemFamily().toStdString());
  EXPECT_EQ(body.pointSize, preferredPointSize(TextStyle::body));
  // One point is one pixel whatever the logical DPI (96 here, so 20 pt would be 27 px).
  EXPECT_EQ(QFontInfo(kit.qtFonts().qFont(Font::system(20))).pixelSize(), 20);
  auto boldItalic = kit.fonts().withItalic(*kit.fonts().withBold(body));
  ASSERT_TRUE(boldItalic);
  QFontInfo drawn(kit.qtFonts().qFont(*boldItalic));
  EXPECT_TRUE(drawn.bold() && drawn.italic()) << drawn.styleName().toStdString();
  EXPECT_FALSE(kit.fonts().font("No Such Family", 12));
  EXPECT_EQ(kit.fonts().font("DejaVu Serif", 12)->family, "DejaVu Serif");
}

TEST_F(QtToolkitTest, SubviewsLiveWhileHeldAndFollowTheirSuperview) {
  auto parent = kit.makeView();
  parent->setFrame({0, 0, 200, 100});
  auto kept = kit.makeLabel();
  auto owned = kit.makeView();
  std::weak_ptr<View> ownedWatch = owned;
  kept->setFrame({10.5, 20.25, 50.5, 30});
  kept->setResizesWithSuperview(true, false);
  owned->setFrame({0, 0, 20, 20});
  owned->setResizesWithSuperview(false, true);
  parent->addSubview(kept);
  parent->addSubview(owned);
  owned.reset();

  EXPECT_EQ(kept->frame(), (Rect{10.5, 20.25, 50.5, 30})) << "frames are kept as given";
  EXPECT_EQ(widgetOf(*kept)->geometry(), QRect(11, 20, 50, 30));
  parent->setFrame({0, 0, 260, 140});
  EXPECT_EQ(kept->frame(), (Rect{10.5, 20.25, 110.5, 30}));
  EXPECT_EQ(ownedWatch.lock()->frame(), (Rect{0, 0, 20, 60}));

  // Moving a view takes it from its old superview.
  auto other = kit.makeView();
  other->addSubview(kept);
  EXPECT_EQ(kept->superview(), other.get());
  EXPECT_EQ(widgetOf(*kept)->parentWidget(), widgetOf(*other));
  parent->addSubview(kept);

  QPointer<QWidget> keptWidget = widgetOf(*kept);
  parent.reset();
  EXPECT_TRUE(ownedWatch.expired());
  ASSERT_TRUE(keptWidget) << "a view held elsewhere keeps its widget";
  EXPECT_EQ(kept->superview(), nullptr);
  EXPECT_EQ(keptWidget->parentWidget(), nullptr);

  // A view whose superview held the last reference may remove itself.
  auto holder = kit.makeView();
  auto last = kit.makeView();
  std::weak_ptr<View> lastWatch = last;
  holder->addSubview(last);
  last.reset();
  lastWatch.lock()->removeFromSuperview();
  EXPECT_TRUE(lastWatch.expired());
}

TEST_F(QtToolkitTest, TemplateImagesAreTintedAndFittedInsideTheFrame) {
  // Left half opaque, right half clear.
  std::vector<uint8_t> rgba(10 * 10 * 4, 0);
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 5; ++x) rgba[(y * 10 + x) * 4 + 3] = 255;
  }
  Image picture{10, 10, std::make_shared<std::vector<uint8_t>>(rgba)};
  auto image = kit.makeImageView();
  image->setFrame({0, 0, 100, 50});
  image->setBackgroundColor(kWhite);
  image->setImage(picture);
  image->setTemplateTint(kRed);

  QImage stretched = grab(*image);
  EXPECT_TRUE(near(stretched.pixel(10, 25), Qt::red));
  EXPECT_TRUE(near(stretched.pixel(75, 25), Qt::white));

  image->setContentMode(ContentMode::aspectFit);  // a 50 x 50 square from x = 25
  QImage fitted = grab(*image);
  EXPECT_TRUE(near(fitted.pixel(10, 25), Qt::white));
  EXPECT_TRUE(near(fitted.pixel(35, 25), Qt::red));
  EXPECT_TRUE(near(fitted.pixel(60, 25), Qt::white));
}

TEST_F(QtToolkitTest, ButtonsActOnAClickReleasedInsideThemAndMayFreeThemselves) {
  auto button = kit.makeButton();
  button->setFrame({0, 0, 120, 40});
  button->setTitle("Open");
  int taps = 0;
  button->setAction([&] { ++taps; });
  QWidget* widget = widgetOf(*button);

  QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(60, 20));
  EXPECT_EQ(taps, 0) << "the action runs on the next turn of the loop";
  QCoreApplication::processEvents();
  EXPECT_EQ(taps, 1);
  QTest::mousePress(widget, Qt::LeftButton, {}, QPoint(60, 20));
  QTest::mouseRelease(widget, Qt::LeftButton, {}, QPoint(200, 20));
  QCoreApplication::processEvents();
  EXPECT_EQ(taps, 1) << "released outside";

  std::weak_ptr<Button> watch = button;
  button->setAction([&] { button.reset(); });
  QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(60, 20));
  QCoreApplication::processEvents();
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace vicinix
