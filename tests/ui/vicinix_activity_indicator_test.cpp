#include "ui/vicinix_activity_indicator.h"

#include <gtest/gtest.h>
#include <vicinix/vicinix_appearance.h>

#include "support/screen_fixture.h"

namespace vicinix {
namespace {

using ActivityIndicatorTest = test::ScreenTest;

TEST_F(ActivityIndicatorTest, ShowingTwiceLeavesOneOverlayAndHidingTakesItAway) {
  VicinixActivityIndicator overlay(*kit);
  overlay.showProgressView();
  overlay.showProgressView();
  FakeNode& window = FakeNode::of(*kit->keyWindow());
  ASSERT_EQ(window.subviews.size(), 1u);
  EXPECT_EQ(window.subviews[0], overlay.containerView);
  EXPECT_EQ(overlay.containerView->frame(), (Rect{0, 0, 320, 568}));
  EXPECT_EQ(FakeNode::of(*overlay.containerView).backgroundColor, (Color{0.3, 0.3, 0.3, 0.2}));
  EXPECT_EQ(FakeNode::of(*overlay.containerView).subviews.size(), 1u);
  FakeNode& square = FakeNode::of(*overlay.progressView);
  EXPECT_EQ(square.frame(), (Rect{120, 244, 80, 80}));
  EXPECT_EQ(square.backgroundColor, VicinixAppearance::primaryColor());
  EXPECT_EQ(square.cornerRadius, 10);
  EXPECT_TRUE(square.clipsToBounds);
  EXPECT_EQ(overlay.activityIndicator->frame(), (Rect{20, 20, 40, 40}));
  EXPECT_TRUE(overlay.activityIndicator->isAnimating());

  overlay.hideProgressView();
  EXPECT_TRUE(window.subviews.empty());
  EXPECT_FALSE(overlay.activityIndicator->isAnimating());

  kit->setKeyWindow(nullptr);
  overlay.showProgressView();  // built, but shown nowhere
  EXPECT_EQ(overlay.containerView->superview(), nullptr);
}

}  // namespace
}  // namespace vicinix
