#pragma once

#include <vicinix/color.h>
#include <vicinix/export.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/image_codec.h"
#include "ui/font.h"
#include "ui/geometry.h"
#include "ui/styled_text.h"

namespace vicinix {

// What the screens draw with. The screens decide every view, frame, text and
// colour themselves; a toolkit only creates, measures and shows views. The Qt
// toolkit draws real widgets; the fake one records the tree for tests.
// Everything here is main queue only.
//
// Ownership: whoever holds a view keeps it alive; a view holds its subviews,
// so a view added to a superview lives as long as the superview keeps it.

enum class TextAlignment { left, center, right };
enum class ContentMode { scaleToFill, aspectFit };

class VICINIX_EXPORT View {
 public:
  virtual ~View() = default;

  virtual Rect frame() const = 0;  // in the superview's coordinates
  virtual void setFrame(const Rect& frame) = 0;
  Rect bounds() const { return {0, 0, frame().width, frame().height}; }
  Point center() const { return frame().center(); }
  void setCenter(Point center) { setFrame(frame().centeredAt(center)); }

  // Alpha 0 is clear; a new view is clear.
  virtual void setBackgroundColor(const Color& color) = 0;
  virtual void setCornerRadius(double radius) = 0;
  virtual void setClipsToBounds(bool clips) = 0;
  // Whether the view grows and shrinks with its superview's width and height.
  virtual void setResizesWithSuperview(bool width, bool height) = 0;
  virtual void setHidden(bool hidden) = 0;

  // A view that already has a superview moves, to the front of this one.
  virtual void addSubview(const std::shared_ptr<View>& view) = 0;
  // Nothing happens to a view without a superview.
  virtual void removeFromSuperview() = 0;
  // Null also once the superview is destroyed while this view lives on (a
  // screen's view moved out of a container that is gone, say).
  virtual View* superview() const = 0;

  // The size that fits the content, given the space `size` (a label wraps at
  // size.width); a plain view answers its own size.
  virtual Size sizeThatFits(Size size) const = 0;
  // Resizes the view to sizeThatFits(its current size), keeping its origin.
  void sizeToFit() {
    Rect f = frame();
    Size s = sizeThatFits(f.size());
    setFrame({f.x, f.y, s.width, s.height});
  }
};

// Text on one or more lines, word-wrapped; plain text with one font and
// colour, or styled text.
class VICINIX_EXPORT Label : public View {
 public:
  virtual void setText(const std::string& text) = 0;
  virtual void setFont(const Font& font) = 0;
  virtual void setTextColor(const Color& color) = 0;
  virtual void setTextAlignment(TextAlignment alignment) = 0;
  // 0 lets the text take as many lines as it needs.
  virtual void setNumberOfLines(int lines) = 0;
  // Replaces the plain text; the runs carry their own fonts and colours.
  virtual void setStyledText(const StyledText& text) = 0;
};

class VICINIX_EXPORT ImageView : public View {
 public:
  virtual void setImage(const std::optional<Image>& image) = 0;
  virtual void setContentMode(ContentMode mode) = 0;
  // Draws the picture as a template: its shape (alpha) filled with `tint`.
  virtual void setTemplateTint(const std::optional<Color>& tint) = 0;
};

class VICINIX_EXPORT Button : public View {
 public:
  virtual void setTitle(const std::string& title) = 0;
  virtual void setTitleFont(const Font& font) = 0;
  virtual void setTitleColor(const Color& color) = 0;
  // Runs on the main queue when the user taps (clicks) the button. The
  // action may set a new one while it runs, so run a copy.
  virtual void setAction(std::function<void()> action) = 0;
};

// A view whose subviews scroll inside its bounds.
class VICINIX_EXPORT ScrollView : public View {
 public:
  virtual void setContentSize(Size size) = 0;
  virtual Size contentSize() const = 0;
};

// A large, white, spinning progress indicator.
class VICINIX_EXPORT ActivityIndicator : public View {
 public:
  virtual void startAnimating() = 0;
  virtual void stopAnimating() = 0;
  virtual bool isAnimating() const = 0;
};

// What one row of a table paints: a picture and two texts, each at a frame
// in the row's own coordinates (0, 0 at its top left). The screen lays the
// row out; the toolkit only paints it, so a long table needs no view per row.
struct VICINIX_EXPORT TableCell {
  struct Text {
    std::string text;
    Font font;
    Color color;
    Rect frame;
    // 0 lets the text take as many lines as fit in its frame.
    int numberOfLines = 1;
  };

  Text title;
  Text subtitle;
  std::optional<Image> image;
  Rect imageFrame;
};

// Where a table gets its rows. Asked only for the rows it shows, on the main
// queue, and again after reloadData().
class VICINIX_EXPORT TableViewDataSource {
 public:
  virtual int numberOfRows() = 0;
  virtual double heightForRow(int row) = 0;
  // `width` is the row's width.
  virtual TableCell cellForRow(int row, double width) = 0;
  // The user picked the row (a click or a tap); it stays selected until
  // deselectRow().
  virtual void didSelectRow(int row) = 0;

 protected:
  ~TableViewDataSource() = default;
};

enum class SeparatorStyle { none, singleLine };

// One section of rows that scroll vertically, drawn from a data source.
class VICINIX_EXPORT TableView : public View {
 public:
  // Not owned: the source outlives the table, or is reset to null first.
  virtual void setDataSource(TableViewDataSource* source) = 0;
  // Asks the source again for the row count and the rows shown.
  virtual void reloadData() = 0;
  virtual void setSeparatorStyle(SeparatorStyle style) = 0;
  // Space left free at each end of a separator line.
  virtual void setSeparatorInsets(double left, double right) = 0;
  virtual void deselectRow(int row, bool animated) = 0;
};

// A browser view that shows a web page.
class VICINIX_EXPORT WebView : public View {
 public:
  // Starts loading `url`, which the caller has checked is a URL, and gives up
  // after `timeout` without an answer. Every navigation the page makes later
  // is allowed.
  virtual void load(const std::string& url, std::chrono::milliseconds timeout) = 0;
  // A view that is not opaque shows its superview through a clear background.
  virtual void setOpaque(bool opaque) = 0;
  // The address of the last load(); empty before the first.
  virtual std::string url() const = 0;
  // The loaded page's title; empty while none has loaded.
  virtual std::string title() const = 0;
  // Runs when a load ends: true when the page loaded, false on an error or
  // the timeout.
  virtual void setLoadFinished(std::function<void(bool ok)> handler) = 0;
};

class VICINIX_EXPORT Toolkit {
 public:
  virtual ~Toolkit() = default;

  virtual std::shared_ptr<View> makeView() = 0;
  virtual std::shared_ptr<Label> makeLabel() = 0;
  virtual std::shared_ptr<ImageView> makeImageView() = 0;
  virtual std::shared_ptr<Button> makeButton() = 0;
  virtual std::shared_ptr<ScrollView> makeScrollView() = 0;
  virtual std::shared_ptr<ActivityIndicator> makeActivityIndicator() = 0;
  virtual std::shared_ptr<TableView> makeTableView() = 0;
  virtual std::shared_ptr<WebView> makeWebView() = 0;

  virtual const FontBook& fonts() const = 0;
  // The size of `text` drawn in `font`, wrapped at `width`, lines laid out
  // one under the other; how labels measure themselves.
  virtual Size boundingSize(const std::string& text, const Font& font, double width) const = 0;

  // The surface the SDK's screens are shown on (the phone's "main screen").
  virtual Rect mainScreenBounds() const = 0;
  // The height of a status bar above the screens; 0 when none is shown.
  virtual double statusBarHeight() const = 0;
  // The root view of the window the host shows; null when it shows none.
  virtual std::shared_ptr<View> keyWindow() = 0;
  // A picture shipped with the SDK ("campaignError", "updateState",
  // "noCampaignsIcon"); nothing for an unknown name.
  virtual std::optional<Image> resourceImage(const std::string& name) = 0;
};

}  // namespace vicinix
