#pragma once

#include <QPointer>
#include <memory>

#include "ui/qt/qt_font_book.h"
#include "ui/toolkit.h"

class QWidget;

namespace vicinix {

class QtWindowView;

// The toolkit of Qt6 Widgets hosts. Needs a QApplication made before it;
// main thread only. Views are widgets the screens place themselves, measured
// with Qt's own font metrics. The SDK's pictures are built into the library.
class QtToolkit final : public Toolkit {
 public:
  // The screens are laid out for a surface of `screenSize` points; without
  // one, a portrait sheet that fits on the primary screen.
  explicit QtToolkit(std::optional<Size> screenSize = std::nullopt);
  ~QtToolkit() override;

  // Call before the QApplication is made. Sets the browser engine up to run
  // as root (without its sandbox), without a GPU when there is none, and
  // without its start-up chatter in the log.
  static void prepareApplication();

  std::shared_ptr<View> makeView() override;
  std::shared_ptr<Label> makeLabel() override;
  std::shared_ptr<ImageView> makeImageView() override;
  std::shared_ptr<Button> makeButton() override;
  std::shared_ptr<ScrollView> makeScrollView() override;
  std::shared_ptr<ActivityIndicator> makeActivityIndicator() override;
  std::shared_ptr<TableView> makeTableView() override;

  std::shared_ptr<WebView> makeWebView() override;

  const FontBook& fonts() const override { return fonts_; }
  const QtFontBook& qtFonts() const { return fonts_; }
  Size boundingSize(const std::string& text, const Font& font, double width) const override;

  Rect mainScreenBounds() const override { return {0, 0, screenSize_.width, screenSize_.height}; }
  void setMainScreenSize(Size size) { screenSize_ = size; }
  double statusBarHeight() const override { return 0; }

  std::shared_ptr<View> keyWindow() override;
  // The host's main window, on which the SDK may put its progress overlay.
  // Null: the host shows none. The window stays the host's.
  void setKeyWindow(QWidget* window);

  std::optional<Image> resourceImage(const std::string& name) override;

 private:
  QtFontBook fonts_;
  Size screenSize_;
  std::shared_ptr<QtWindowView> keyWindow_;
};

}  // namespace vicinix
