#pragma once

#include <QObject>

class QAbstractScrollArea;
class QScrollBar;

namespace vicinix {

// The slim bar every scrolling view of ours shows: it floats over the right
// edge of the content instead of taking width from it, so the screens'
// frames hold edge to edge, and shows only when there is something to
// scroll. The area's own vertical bar stays hidden and does the scrolling;
// this one mirrors it and is what the user sees and drags.
class QtScrollIndicator final : public QObject {
 public:
  // Lives as long as `area`, which it is a child of.
  explicit QtScrollIndicator(QAbstractScrollArea* area);

  QScrollBar* bar() const { return indicator_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void place();

  QAbstractScrollArea* area_;
  QScrollBar* indicator_;
};

}  // namespace vicinix
