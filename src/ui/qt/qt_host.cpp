#include <vicinix/qt/qt_host.h>

#include "ui/qt/qt_toolkit.h"

namespace vicinix {

void QtHost::prepareApplication() {
  QtToolkit::prepareApplication();
}

std::unique_ptr<LinuxHost> QtHost::create(const LinuxHostOptions& options, std::string& error) {
  return LinuxHost::createWithToolkit(options, std::make_shared<QtToolkit>(), error);
}

}  // namespace vicinix
