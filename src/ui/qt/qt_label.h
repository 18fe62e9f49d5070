#pragma once

#include <QTextDocument>
#include <optional>

#include "ui/qt/qt_view.h"

namespace vicinix {

class QtFontBook;
class QtLabelWidget;

// A label drawn with Qt's text layout; see QtTextBox for how it wraps.
class QtLabel final : public QtView<Label> {
 public:
  explicit QtLabel(const QtFontBook& fonts);

  void setText(const std::string& text) override;
  void setFont(const Font& font) override;
  void setTextColor(const Color& color) override;
  void setTextAlignment(TextAlignment alignment) override;
  void setNumberOfLines(int lines) override;
  void setStyledText(const StyledText& text) override;

  // The laid-out text the label draws.
  const QTextDocument& document() const;

 protected:
  const char* kind() const override { return "label"; }
  void describeContent(nlohmann::ordered_json& out) const override;
  Size fittingSize(Size size) const override;

 private:
  void relayout();
  void prepare() const;

  const QtFontBook& fonts_;
  QtLabelWidget* label_;  // owned by the view core
  std::string text_;
  Font font_;
  Color textColor_{0, 0, 0, 1};
  TextAlignment alignment_ = TextAlignment::left;
  int numberOfLines_ = 1;
  std::optional<StyledText> styled_;
  mutable bool stale_ = true;
};

}  // namespace vicinix
