#include "ui/qt/qt_window_view_controller.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QWidget>

#include "platform/fake/fake_sdk.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/toolkit_view_controller.h"

namespace vicinix {
namespace {

struct Screen final : ToolkitViewController {
  int appearances = 0;
  void viewWillAppear(bool) override { ++appearances; }
  std::string description() const override { return "screen"; }
};

// Lets Qt finish what was put off: deleted windows and the screens they kept.
void settle() {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QCoreApplication::processEvents();
}

class QtWindowViewControllerTest : public ::testing::Test {
 protected:
  FakeSdk env{[](Platform& platform) {
    platform.toolkit = std::make_shared<QtToolkit>(Size{300, 500});
  }};
  QWidget host;
  std::shared_ptr<QtWindowViewController> root = std::make_shared<QtWindowViewController>(&host);

  void SetUp() override {
    host.resize(800, 600);
    host.show();
  }
};

TEST_F(QtWindowViewControllerTest, ScreensOpenModallyOverTheTopmostWindowAndCloseTheirOwn) {
  auto first = std::make_shared<Screen>();
  auto second = std::make_shared<Screen>();
  std::weak_ptr<Screen> secondWatch = second;
  root->present(first, true);
  root->present(second, true);

  QWidget* firstWindow = root->windowOf(*first);
  QWidget* secondWindow = root->windowOf(*second);
  ASSERT_TRUE(firstWindow && secondWindow);
  EXPECT_EQ(firstWindow->parentWidget(), &host);
  EXPECT_EQ(secondWindow->parentWidget(), firstWindow) << "over the topmost window";
  EXPECT_TRUE(firstWindow->isWindow() && firstWindow->isVisible());
  EXPECT_EQ(firstWindow->windowModality(), Qt::WindowModal);
  EXPECT_EQ(firstWindow->size(), QSize(300, 500)) << "the size of the main screen";
  EXPECT_EQ(QtViewCore::of(*first->view())->widget()->parentWidget(), firstWindow);
  EXPECT_EQ(first->appearances, 1);
  EXPECT_EQ(root->presentedViewController(), nullptr) << "the next screen comes to the root too";

  // The screen's own dismiss reaches the root through the link present() made.
  second->dismiss(true);
  second.reset();
  settle();
  EXPECT_TRUE(secondWatch.expired());
  EXPECT_EQ(root->presentedViewControllers(), std::vector<std::shared_ptr<ViewController>>{first});

  // The window follows the user's resizing, and closing it dismisses the
  // screen while its view lives on with it.
  firstWindow->resize(420, 640);
  EXPECT_EQ(first->view()->frame(), (Rect{0, 0, 420, 640}));
  QPointer<QWidget> view = QtViewCore::of(*first->view())->widget();
  QPointer<QWidget> window = firstWindow;
  firstWindow->close();
  settle();
  EXPECT_TRUE(root->presentedViewControllers().empty());
  EXPECT_FALSE(window);
  EXPECT_TRUE(view);

  // A screen without a toolkit view has nothing to show.
  struct Described final : ViewController {
    std::string description() const override { return "plain"; }
  };
  root->present(std::make_shared<Described>(), false);
  EXPECT_TRUE(root->presentedViewControllers().empty());
}

}  // namespace
}  // namespace vicinix
