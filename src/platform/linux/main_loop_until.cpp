#include <glib.h>

#include "platform/linux/linux_platform.h"

namespace vicinix {

bool runMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  // A ticking source, so a blocking iteration also wakes to check the deadline.
  guint tick = g_timeout_add(
      10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool finished = done();
  while (!finished && std::chrono::steady_clock::now() < deadline) {
    g_main_context_iteration(nullptr, TRUE);
    finished = done();
  }
  g_source_remove(tick);
  return finished;
}

}  // namespace vicinix
