#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct _XDisplay;

namespace vicinix::test {

// An X server of the test's own (Xvfb on a display number it picks itself),
// for programs that open real windows. While the object lives, DISPLAY
// points at it and QT_QPA_PLATFORM is "xcb", so processes the test starts
// show their windows there. There is no window manager: windows stand where
// their programs put them. Throws std::runtime_error when Xvfb does not come
// up. Clicks go through xdotool.
class XvfbDisplay {
 public:
  struct Window {
    unsigned long id = 0;
    int x = 0, y = 0, width = 0, height = 0;  // on the screen
  };

  // Pixels of a screen area, 0xRRGGBB each, row by row.
  struct Picture {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;

    uint32_t at(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
    size_t distinctColours() const;
    // Pixels that differ from `other`'s within the rectangle, both of one size.
    size_t differingPixels(const Picture& other, int x, int y, int width, int height) const;
  };

  explicit XvfbDisplay(int width = 1280, int height = 1024);
  ~XvfbDisplay();
  XvfbDisplay(const XvfbDisplay&) = delete;
  XvfbDisplay& operator=(const XvfbDisplay&) = delete;

  const std::string& name() const { return name_; }  // ":7"

  // A shown top-level window with exactly this title (UTF-8).
  std::optional<Window> findWindow(const std::string& title) const;
  std::optional<Window> waitForWindow(const std::string& title,
                                      std::chrono::milliseconds timeout) const;
  // Waits until no shown window has this title; false after `timeout`.
  bool waitForNoWindow(const std::string& title, std::chrono::milliseconds timeout) const;

  // A left click at a point on the screen.
  void click(int x, int y) const;
  // Asks the window to close, as a window manager's close button does.
  void closeWindow(const Window& window) const;

  // What the area of `window` shows now, also written to `png`.
  Picture screenshot(const Window& window, const std::filesystem::path& png) const;

 private:
  pid_t server_ = -1;
  std::string name_;
  _XDisplay* display_ = nullptr;
  std::array<std::optional<std::string>, 2> previousEnvironment_;
};

}  // namespace vicinix::test
