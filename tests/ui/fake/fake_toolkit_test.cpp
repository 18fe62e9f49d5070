#include "ui/fake/fake_toolkit.h"

#include <gtest/gtest.h>

#include "ui/fake/fake_text_metric.h"

namespace vicinix {
namespace {

using Lines = std::vector<std::string>;

// Every layout test computes its expectations with this ruler; if it bent,
// they would pass for the wrong reasons.
TEST(FakeTextMetricTest, WrapsGreedilyAtBlanksAndCutsOverlongWords) {
  const Font ten = Font::system(10);  // 5 points a character, 12 a line
  struct Case {
    const char* text;
    double width;
    Lines lines;
    Size size;
  } cases[] = {
      {"", 100, {}, {0, 0}},
      {"one two three", 0, {"one two three"}, {65, 12}},
      {"one two three", 35, {"one two", "three"}, {35, 24}},
      {"one  two", 30, {"one", "two"}, {15, 24}},  // blanks at a break vanish
      {"abcdefgh", 20, {"abcd", "efgh"}, {20, 24}},
      {"a\n\nb\n", 100, {"a", "", "b", ""}, {5, 48}},
      {"ňůž čš", 15, {"ňůž", "čš"}, {15, 24}},  // characters, not bytes
  };
  for (const Case& c : cases) {
    auto layout = FakeTextMetric::layout(c.text, ten, c.width);
    EXPECT_EQ(layout.lines, c.lines) << c.text;
    EXPECT_EQ(layout.size, c.size) << c.text;
  }
  EXPECT_EQ(FakeTextMetric::layout("a b c", ten, 5, 2).size.height, 24) << "limited to two lines";

  // Styled: a line is as tall as its largest run, times the multiple.
  StyledText styled{{{"ab ", ten, {}, {}}, {"cd", Font::system(20), {}, {}}}, 2};
  auto layout = FakeTextMetric::layout(styled, 20, 0);
  EXPECT_EQ(layout.lines, (Lines{"ab", "cd"}));
  EXPECT_DOUBLE_EQ(layout.size.height, (12 + 24) * 2);
}

TEST(FakeToolkitTest, ViewsMoveBetweenSuperviewsAndFollowTheirSize) {
  FakeToolkit kit;
  auto parent = kit.makeView();
  auto other = kit.makeView();
  auto child = kit.makeScrollView();
  parent->setFrame({0, 0, 100, 100});
  child->setFrame({10, 10, 80, 80});
  child->setResizesWithSuperview(true, false);
  parent->addSubview(child);
  parent->addSubview(child);
  EXPECT_EQ(FakeNode::of(*parent).subviews.size(), 1u);
  parent->setFrame({0, 0, 150, 50});
  EXPECT_EQ(child->frame(), (Rect{10, 10, 130, 80}));

  other->addSubview(child);
  EXPECT_TRUE(FakeNode::of(*parent).subviews.empty());
  EXPECT_EQ(child->superview(), other.get());
  child->removeFromSuperview();
  child->removeFromSuperview();
  EXPECT_EQ(child->superview(), nullptr);
}

}  // namespace
}  // namespace vicinix
