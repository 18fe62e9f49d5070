#include "qt_messages.h"

#include <QString>
#include <QtGlobal>
#include <iostream>

namespace vicinix::host {
namespace {

QtMessageHandler gQtHandler = nullptr;

// Qt complains of a missing XDG_RUNTIME_DIR, which the host never uses, on
// every run without a login session, and the web engine reports that it runs
// as set up (no sandbox as root, no GPU); everything else goes through.
void quietQtMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (message.startsWith("QStandardPaths: ") || message == "Sandboxing disabled by user." ||
      message.startsWith("No suitable graphics backend found")) {
    return;
  }
  if (gQtHandler != nullptr) {
    gQtHandler(type, context, message);
  } else {
    std::cerr << message.toStdString() << "\n";
  }
}

}  // namespace

void quietenQtMessages() {
  QtMessageHandler previous = qInstallMessageHandler(quietQtMessages);
  if (previous != quietQtMessages) gQtHandler = previous;
}

}  // namespace vicinix::host
