#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace vicinix {

// The count a dock shows on the application's launcher icon. Sent as the
// launcher-entry signal (com.canonical.Unity.LauncherEntry.Update), which
// Ubuntu's dock, Dash to Dock, Plank and KDE's task manager listen for, on
// the session bus when there is one; docks match it to the application by
// its desktop entry. Sending never blocks: the bus is connected to on first
// use, and a count set meanwhile goes out once connected. Main queue only.
class LauncherEntry {
 public:
  // `desktopId`: the desktop entry's name without ".desktop", e.g. "vicinix-host".
  explicit LauncherEntry(const std::string& desktopId);
  ~LauncherEntry();
  LauncherEntry(const LauncherEntry&) = delete;
  LauncherEntry& operator=(const LauncherEntry&) = delete;

  void setCount(int64_t count);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace vicinix
