#include "qt_messages.h"

#include <QString>
#include <QtGlobal>
#include <iostream>

namespace vicinix::host {
namespace {

QtMessageHandler gQtHandler = nullptr;

void quietQtMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (message.startsWith("QStandardPaths: ")) return;
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
