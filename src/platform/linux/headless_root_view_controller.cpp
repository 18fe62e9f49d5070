#include "platform/linux/headless_root_view_controller.h"

#include <cstdio>

namespace vicinix {

void HeadlessRootViewController::present(std::shared_ptr<ViewController> controller, bool) {
  std::string line = "present: " + (controller ? controller->description() : "nothing") + "\n";
  // One write, so the line stays whole next to other threads' output.
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace vicinix
