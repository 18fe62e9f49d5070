#include "support/xvfb_display.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <unordered_set>

namespace vicinix::test {
namespace {

using namespace std::chrono_literals;

constexpr std::array kVariables = {"DISPLAY", "QT_QPA_PLATFORM"};

// The UTF-8 title Qt gives a window (_NET_WM_NAME), or the Latin-1 one.
std::string titleOf(Display* display, ::Window window) {
  Atom netName = XInternAtom(display, "_NET_WM_NAME", False);
  Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
  Atom type = None;
  int format = 0;
  unsigned long items = 0, left = 0;
  unsigned char* data = nullptr;
  std::string title;
  if (XGetWindowProperty(display, window, netName, 0, 1024, False, utf8, &type, &format, &items,
                         &left, &data) == Success &&
      data != nullptr) {
    title.assign(reinterpret_cast<char*>(data), items);
  }
  if (data != nullptr) XFree(data);
  if (title.empty()) {
    char* name = nullptr;
    if (XFetchName(display, window, &name) && name != nullptr) {
      title = name;
      XFree(name);
    }
  }
  return title;
}

}  // namespace

size_t XvfbDisplay::Picture::distinctColours() const {
  return std::unordered_set<uint32_t>(pixels.begin(), pixels.end()).size();
}

size_t XvfbDisplay::Picture::differingPixels(const Picture& other, int x, int y, int w,
                                             int h) const {
  size_t differing = 0;
  for (int row = y; row < y + h && row < height && row < other.height; ++row) {
    for (int column = x; column < x + w && column < width && column < other.width; ++column) {
      if (at(column, row) != other.at(column, row)) ++differing;
    }
  }
  return differing;
}

XvfbDisplay::XvfbDisplay(int width, int height) {
  int fds[2];
  if (pipe(fds) != 0) throw std::runtime_error("pipe failed");
  server_ = fork();
  if (server_ == 0) {
    close(fds[0]);
    // Its chatter about fonts and extensions would only bury the test's output.
    if (!std::freopen("/dev/null", "w", stderr)) _exit(126);
    std::string fd = std::to_string(fds[1]);
    std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(), "-nolisten",
           "tcp", "-br", "-noreset", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  if (server_ < 0) {
    close(fds[0]);
    throw std::runtime_error("fork failed");
  }
  // Xvfb writes the display number it took once it accepts connections.
  std::string number;
  pollfd ready{fds[0], POLLIN, 0};
  char c = 0;
  while (poll(&ready, 1, 20000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
  close(fds[0]);
  if (number.empty()) {
    kill(server_, SIGKILL);
    waitpid(server_, nullptr, 0);
    throw std::runtime_error("Xvfb did not start (is the xvfb package installed?)");
  }
  name_ = ":" + number;
  display_ = XOpenDisplay(name_.c_str());
  if (display_ == nullptr) {
    kill(server_, SIGKILL);
    waitpid(server_, nullptr, 0);
    throw std::runtime_error("cannot connect to Xvfb on " + name_);
  }
  for (size_t i = 0; i < kVariables.size(); ++i) {
    if (const char* value = std::getenv(kVariables[i])) previousEnvironment_[i] = value;
  }
  setenv("DISPLAY", name_.c_str(), 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
}

XvfbDisplay::~XvfbDisplay() {
  for (size_t i = 0; i < kVariables.size(); ++i) {
    if (previousEnvironment_[i]) {
      setenv(kVariables[i], previousEnvironment_[i]->c_str(), 1);
    } else {
      unsetenv(kVariables[i]);
    }
  }
  XCloseDisplay(display_);
  kill(server_, SIGTERM);
  waitpid(server_, nullptr, 0);
}

std::optional<XvfbDisplay::Window> XvfbDisplay::findWindow(const std::string& title) const {
  ::Window root = DefaultRootWindow(display_), parent = 0, *children = nullptr;
  unsigned int count = 0;
  std::optional<Window> found;
  XSync(display_, False);
  if (!XQueryTree(display_, root, &root, &parent, &children, &count)) return found;
  // Top-most first: the last child is stacked highest.
  for (unsigned int i = count; i-- > 0 && !found;) {
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(display_, children[i], &attributes) ||
        attributes.map_state != IsViewable || titleOf(display_, children[i]) != title) {
      continue;
    }
    found = Window{children[i], attributes.x, attributes.y, attributes.width, attributes.height};
  }
  if (children != nullptr) XFree(children);
  return found;
}

std::optional<XvfbDisplay::Window> XvfbDisplay::waitForWindow(
    const std::string& title, std::chrono::milliseconds timeout) const {
  auto end = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (auto window = findWindow(title)) return window;
    if (std::chrono::steady_clock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(50ms);
  }
}

bool XvfbDisplay::waitForNoWindow(const std::string& title,
                                  std::chrono::milliseconds timeout) const {
  auto end = std::chrono::steady_clock::now() + timeout;
  while (findWindow(title)) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(50ms);
  }
  return true;
}

void XvfbDisplay::click(int x, int y) const {
  std::string command = "DISPLAY=" + name_ + " xdotool mousemove --sync " + std::to_string(x) +
                        " " + std::to_string(y) + " click 1";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

void XvfbDisplay::closeWindow(const Window& window) const {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window.id;
  event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
  event.xclient.data.l[1] = CurrentTime;
  XSendEvent(display_, window.id, False, NoEventMask, &event);
  XFlush(display_);
}

XvfbDisplay::Picture XvfbDisplay::screenshot(const Window& window,
                                             const std::filesystem::path& png) const {
  XSync(display_, False);
  XImage* image = XGetImage(display_, DefaultRootWindow(display_), window.x, window.y,
                            static_cast<unsigned>(window.width),
                            static_cast<unsigned>(window.height), AllPlanes, ZPixmap);
  if (image == nullptr) throw std::runtime_error("cannot read the screen of " + name_);
  Picture picture{window.width, window.height, {}};
  picture.pixels.reserve(size_t(window.width) * size_t(window.height));
  std::vector<guchar> rgb;
  rgb.reserve(picture.pixels.capacity() * 3);
  for (int y = 0; y < window.height; ++y) {
    for (int x = 0; x < window.width; ++x) {
      auto pixel = static_cast<uint32_t>(XGetPixel(image, x, y)) & 0xFFFFFFu;
      picture.pixels.push_back(pixel);
      rgb.insert(rgb.end(), {guchar(pixel >> 16), guchar(pixel >> 8), guchar(pixel)});
    }
  }
  XDestroyImage(image);

  std::filesystem::create_directories(png.parent_path());
  GdkPixbuf* pixbuf =
      gdk_pixbuf_new_from_data(rgb.data(), GDK_COLORSPACE_RGB, FALSE, 8, window.width,
                               window.height, window.width * 3, nullptr, nullptr);
  GError* error = nullptr;
  bool saved = gdk_pixbuf_save(pixbuf, png.c_str(), "png", &error, nullptr);
  g_object_unref(pixbuf);
  if (!saved) {
    std::string message = error ? error->message : "unknown error";
    g_clear_error(&error);
    throw std::runtime_error("cannot write " + png.string() + ": " + message);
  }
  return picture;
}

}  // namespace vicinix::test
