#pragma once

#include <QApplication>
#include <cstdlib>

namespace vicinix::bench {

// The one QApplication Qt's widgets need, offscreen unless told otherwise,
// made on first use and kept for the whole run.
inline void ensureApplication() {
  static QApplication* application = [] {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    static int argc = 1;
    static char name[] = "vicinix_bench";
    static char* argv[] = {name, nullptr};
    return new QApplication(argc, argv);
  }();
  (void)application;
}

}  // namespace vicinix::bench
