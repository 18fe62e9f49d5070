#include "ui/vicinix_activity_indicator.h"

#include <gtest/gtest.h>

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
