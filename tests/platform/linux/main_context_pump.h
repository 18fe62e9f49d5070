#pragma once

#include <glib.h>

#include <chrono>
#include <functional>

namespace vicinix::testing {

// Iterates the default GLib main context on the calling thread until `done`
// holds or `limit` has passed; true when done. A short heartbeat keeps the
// loop checking `done` when what it waits for happens on another thread.
inline bool pumpMainContextUntil(const std::function<bool()>& done,
                                 std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  guint heartbeat = g_timeout_add(5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool finished = done();
  while (!finished && std::chrono::steady_clock::now() < deadline) {
    g_main_context_iteration(nullptr, TRUE);
    finished = done();
  }
  g_source_remove(heartbeat);
  return finished;
}

}  // namespace vicinix::testing
