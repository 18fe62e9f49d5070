#include "ui/fake/fake_text_metric.h"

#include <algorithm>

namespace vicinix {
namespace {

struct Glyph {
  std::string bytes;  // one UTF-8 code point
  double pointSize;
};

bool isContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

void appendGlyphs(std::vector<Glyph>& glyphs, const std::string& text, double pointSize) {
  for (char c : text) {
    if (isContinuationByte(c) && !glyphs.empty()) {
      glyphs.back().bytes += c;
    } else {
      glyphs.push_back({std::string(1, c), pointSize});
    }
  }
}

class LineBreaker {
 public:
  LineBreaker(double width, double multiple) : width_(width), multiple_(multiple) {}

  FakeTextMetric::Layout run(const std::vector<Glyph>& glyphs, double emptyPointSize,
                             int maxLines) {
    lastPointSize_ = glyphs.empty() ? emptyPointSize : glyphs.front().pointSize;
    size_t i = 0;
    while (i < glyphs.size()) {
      // One paragraph: up to the next newline.
      size_t end = i;
      while (end < glyphs.size() && glyphs[end].bytes != "\n") ++end;
      paragraph(glyphs, i, end);
      if (end < glyphs.size()) lastPointSize_ = glyphs[end].pointSize;
      i = end + 1;
      // A newline at the very end starts one more, empty line.
      if (end + 1 == glyphs.size()) finishLine();
    }
    FakeTextMetric::Layout layout;
    size_t count = lines_.size();
    if (maxLines > 0) count = std::min(count, static_cast<size_t>(maxLines));
    for (size_t n = 0; n < count; ++n) {
      layout.lines.push_back(lines_[n].text);
      layout.size.width = std::max(layout.size.width, lines_[n].width);
      layout.size.height += lines_[n].height;
    }
    return layout;
  }

 private:
  struct Line {
    std::string text;
    double width = 0;
    double height = 0;
  };

  void paragraph(const std::vector<Glyph>& glyphs, size_t begin, size_t end) {
    size_t i = begin;
    while (i < end) {
      size_t wordBegin = i;
      while (wordBegin < end && glyphs[wordBegin].bytes == " ") ++wordBegin;
      size_t wordEnd = wordBegin;
      while (wordEnd < end && glyphs[wordEnd].bytes != " ") ++wordEnd;
      if (wordBegin == wordEnd) break;  // only blanks left: they take no room
      double spaces = 0;
      for (size_t s = i; s < wordBegin; ++s) spaces += width(glyphs[s]);
      double word = 0;
      for (size_t w = wordBegin; w < wordEnd; ++w) word += width(glyphs[w]);
      size_t from = i;
      if (!empty_ && wraps() && current_.width + spaces + word > width_) {
        finishLine();
        from = wordBegin;  // blanks at a break vanish
      }
      for (size_t g = from; g < wordEnd; ++g) place(glyphs[g]);
      i = wordEnd;
    }
    finishLine();
  }

  void place(const Glyph& glyph) {
    if (!empty_ && wraps() && current_.width + width(glyph) > width_) finishLine();
    current_.text += glyph.bytes;
    current_.width += width(glyph);
    linePointSize_ = std::max(linePointSize_, glyph.pointSize);
    lastPointSize_ = glyph.pointSize;
    empty_ = false;
  }

  void finishLine() {
    double pointSize = empty_ ? lastPointSize_ : linePointSize_;
    current_.height = FakeTextMetric::lineHeight(pointSize) * multiple_;
    lines_.push_back(current_);
    current_ = {};
    linePointSize_ = 0;
    empty_ = true;
  }

  bool wraps() const { return width_ > 0; }
  static double width(const Glyph& glyph) {
    return FakeTextMetric::characterWidth(glyph.pointSize);
  }

  double width_;
  double multiple_;
  std::vector<Line> lines_;
  Line current_;
  bool empty_ = true;
  double linePointSize_ = 0;
  double lastPointSize_ = 0;
};

}  // namespace

FakeTextMetric::Layout FakeTextMetric::layout(const std::string& text, const Font& font,
                                              double width, int maxLines) {
  if (text.empty()) return {};
  std::vector<Glyph> glyphs;
  appendGlyphs(glyphs, text, font.pointSize);
  return LineBreaker(width, 1).run(glyphs, font.pointSize, maxLines);
}

FakeTextMetric::Layout FakeTextMetric::layout(const StyledText& text, double width, int maxLines) {
  std::vector<Glyph> glyphs;
  for (const TextRun& run : text.runs) appendGlyphs(glyphs, run.text, run.font.pointSize);
  if (glyphs.empty()) return {};
  double multiple = text.lineHeightMultiple > 0 ? text.lineHeightMultiple : 1;
  return LineBreaker(width, multiple).run(glyphs, glyphs.front().pointSize, maxLines);
}

}  // namespace vicinix
