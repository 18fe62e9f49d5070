#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

#include "ui/qt/qt_toolkit.h"

// Widgets need one QApplication for the whole run. Offscreen by default, so
// the tests run without a display.
int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  vicinix::QtToolkit::prepareApplication();
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
