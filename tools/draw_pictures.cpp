// vicinix-draw-pictures DIR: draws the SDK's own pictures (the info view's
// icons) into DIR as PNG files. They are shipped as template images: one
// opaque colour on transparency, tinted by the screens with the theme colour.
// The committed files in src/ui/qt/pictures are this tool's output.

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>
#include <cstdio>
#include <functional>

namespace {

constexpr int kSide = 320;
constexpr double kStroke = 16;

QPen outline() {
  return QPen(Qt::black, kStroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

// A page with a folded corner and an exclamation mark: the campaign could not be shown.
void campaignError(QPainter& p) {
  p.setPen(outline());
  QPainterPath page;
  page.moveTo(76, 34);
  page.lineTo(190, 34);
  page.lineTo(244, 88);
  page.lineTo(244, 286);
  page.lineTo(76, 286);
  page.closeSubpath();
  p.drawPath(page);
  QPainterPath fold;
  fold.moveTo(190, 34);
  fold.lineTo(190, 88);
  fold.lineTo(244, 88);
  p.drawPath(fold);
  p.setPen(QPen(Qt::black, kStroke * 1.25, Qt::SolidLine, Qt::RoundCap));
  p.drawLine(QPointF(160, 132), QPointF(160, 196));
  p.setPen(Qt::NoPen);
  p.setBrush(Qt::black);
  p.drawEllipse(QPointF(160, 240), 12.5, 12.5);
}

// An arc drawn counter-clockwise from `start` over `sweep` degrees (screen y
// down), ending in a solid arrowhead that points on along it.
void arrowArc(QPainter& p, QPointF centre, double radius, double start, double sweep) {
  QRectF box(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
  QPainterPath arc;
  arc.arcMoveTo(box, start);
  arc.arcTo(box, start, sweep);
  p.setPen(outline());
  p.setBrush(Qt::NoBrush);
  p.drawPath(arc);
  double end = qDegreesToRadians(start + sweep);
  QPointF base(centre.x() + radius * std::cos(end), centre.y() - radius * std::sin(end));
  // Direction of travel at the end and the outward normal there.
  QPointF ahead(-std::sin(end), -std::cos(end));
  QPointF across(std::cos(end), -std::sin(end));
  const double length = 44, halfWidth = 30;
  QPainterPath head;
  head.moveTo(base + ahead * length);
  head.lineTo(base + across * halfWidth);
  head.lineTo(base - across * halfWidth);
  head.closeSubpath();
  p.setPen(QPen(Qt::black, 6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  p.setBrush(Qt::black);
  p.drawPath(head);
}

// Two arrows chasing each other round a circle: the application needs updating.
void updateState(QPainter& p) {
  QPointF centre(160, 160);
  arrowArc(p, centre, 104, 40, 118);
  arrowArc(p, centre, 104, 220, 118);
}

// An empty inbox tray: there are no campaigns.
void noCampaignsIcon(QPainter& p) {
  p.setPen(outline());
  QPainterPath tray;
  tray.moveTo(100, 70);
  tray.lineTo(220, 70);
  tray.lineTo(270, 178);
  tray.lineTo(270, 250);
  tray.lineTo(50, 250);
  tray.lineTo(50, 178);
  tray.closeSubpath();
  p.drawPath(tray);
  QPainterPath opening;
  opening.moveTo(50, 178);
  opening.lineTo(114, 178);
  opening.lineTo(130, 210);
  opening.lineTo(190, 210);
  opening.lineTo(206, 178);
  opening.lineTo(270, 178);
  p.drawPath(opening);
}

bool draw(const QString& path, const std::function<void(QPainter&)>& picture) {
  QImage image(kSide, kSide, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  {
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    picture(painter);
  }
  return image.save(path, "PNG");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
    return 2;
  }
  QString directory = QString::fromLocal8Bit(argv[1]);
  bool ok = draw(directory + "/campaignError.png", campaignError) &&
            draw(directory + "/updateState.png", updateState) &&
            draw(directory + "/noCampaignsIcon.png", noCampaignsIcon);
  if (!ok) std::fprintf(stderr, "cannot write the pictures into %s\n", argv[1]);
  return ok ? 0 : 1;
}
