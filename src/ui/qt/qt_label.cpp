#include "ui/qt/qt_label.h"

#include <QPainter>
#include <cmath>
#include <functional>

#include "ui/qt/qt_font_book.h"
#include "ui/qt/qt_text_box.h"
#include "ui/qt/qt_view_widget.h"

namespace vicinix {

class QtLabelWidget final : public QtViewWidget {
 public:
  QtTextBox text;
  QColor color = Qt::black;
  // Brings `text` up to date with the label's settings.
  std::function<void()> prepare;

 protected:
  void paintContent(QPainter& painter) override {
    prepare();
    text.draw(painter, QRectF(rect()), color);
  }
};

namespace {

Qt::Alignment qAlignment(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::left:
      return Qt::AlignLeft;
    case TextAlignment::center:
      return Qt::AlignHCenter;
    case TextAlignment::right:
      return Qt::AlignRight;
  }
  return Qt::AlignLeft;
}

const char* alignmentName(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::left:
      return "left";
    case TextAlignment::center:
      return "center";
    case TextAlignment::right:
      return "right";
  }
  return "left";
}

}  // namespace

// A label starts as a phone's does: the body font, black, one line.
QtLabel::QtLabel(const QtFontBook& fonts)
    : QtView(new QtLabelWidget, true),
      fonts_(fonts),
      label_(static_cast<QtLabelWidget*>(widget())),
      font_(fonts.preferredFont(TextStyle::body)) {
  label_->prepare = [this] { prepare(); };
}

void QtLabel::setText(const std::string& text) {
  text_ = text;
  styled_.reset();
  relayout();
}

void QtLabel::setFont(const Font& font) {
  font_ = font;
  relayout();
}

void QtLabel::setTextColor(const Color& color) {
  textColor_ = color;
  relayout();
}

void QtLabel::setTextAlignment(TextAlignment alignment) {
  alignment_ = alignment;
  relayout();
}

void QtLabel::setNumberOfLines(int lines) {
  numberOfLines_ = std::max(0, lines);
  relayout();
}

void QtLabel::setStyledText(const StyledText& text) {
  styled_ = text;
  text_ = text.string();
  relayout();
}

const QTextDocument& QtLabel::document() const {
  prepare();
  return label_->text.document();
}

void QtLabel::relayout() {
  // A screen sets font, colour, text and so on one after the other; the
  // text is laid out once, when it is next measured or drawn.
  stale_ = true;
  if (widget() != nullptr) label_->update();
}

void QtLabel::prepare() const {
  // The widget may be gone with a window the host closed.
  if (!stale_ || widget() == nullptr) return;
  stale_ = false;
  QtTextBox& box = label_->text;
  if (styled_) {
    box.setStyledText(*styled_, fonts_, qAlignment(alignment_));
  } else {
    box.setPlainText(QString::fromStdString(text_), fonts_.qFont(font_), qAlignment(alignment_));
  }
  box.setMaximumLines(numberOfLines_);
  label_->color = qColor(textColor_);
}

Size QtLabel::fittingSize(Size size) const {
  // An empty document still has one empty line; an empty label has no size.
  if (widget() == nullptr || text_.empty()) return {};
  prepare();
  QSizeF fitted = label_->text.sizeAt(size.width);
  return {std::ceil(fitted.width()), std::ceil(fitted.height())};
}

void QtLabel::describeContent(nlohmann::ordered_json& out) const {
  out["text"] = text_;
  out["alignment"] = alignmentName(alignment_);
  out["numberOfLines"] = numberOfLines_;
  if (!styled_) {
    out["font"] = fonts_.describe(font_);
    out["textColor"] = colorString(textColor_);
    return;
  }
  nlohmann::ordered_json runs = nlohmann::ordered_json::array();
  for (const TextRun& run : styled_->runs) {
    nlohmann::ordered_json entry = {
        {"text", run.text},           {"font", fonts_.resolvedFamily(run.font)},
        {"size", run.font.pointSize}, {"bold", run.font.weight >= FontWeight::semibold},
        {"italic", run.font.italic},  {"color", colorString(run.color)}};
    entry["link"] = run.link ? nlohmann::ordered_json(*run.link) : nlohmann::ordered_json(nullptr);
    runs.push_back(std::move(entry));
  }
  out["runs"] = std::move(runs);
  out["lineHeightMultiple"] = styled_->lineHeightMultiple;
}

}  // namespace vicinix
