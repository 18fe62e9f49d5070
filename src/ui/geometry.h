#pragma once

namespace vicinix {

// Screen geometry in points; on the desktop one point is one device-independent pixel.
struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  Point origin() const { return {x, y}; }
  Size size() const { return {width, height}; }
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  Point center() const { return {x + width / 2, y + height / 2}; }
  // The same size, moved so that its centre is `c`.
  Rect centeredAt(Point c) const { return {c.x - width / 2, c.y - height / 2, width, height}; }
  bool operator==(const Rect&) const = default;
};

}  // namespace vicinix
