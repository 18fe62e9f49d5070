#include "ui/markdown_renderer.h"

#include <array>
#include <fstream>
#include <iterator>
#include <vector>

#include "ui/line_style.h"
#include "ui/unicode_text.h"

namespace vicinix {

namespace {

using std::string_view;

constexpr std::array<bool, 256> byteTable(string_view members) {
  std::array<bool, 256> table{};
  for (char c : members) table[static_cast<unsigned char>(c)] = true;
  return table;
}

constexpr auto kInstruction = byteTable("[\\*_`");
constexpr auto kLinkCharacter = byteTable("]()");
// Bytes that can begin a newline character: the ASCII ones, NEL (C2 85) and
// the line and paragraph separators (E2 80 A8, E2 80 A9).
constexpr auto kNewlineStart = byteTable("\n\v\f\r\xC2\xE2");

// The bytes of the newline character at `pos`, 0 when there is none. Every
// newline character separates lines on its own, so CR LF is two separators.
std::size_t newlineLength(string_view text, std::size_t pos) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
  };
  const unsigned char c = byte(pos);
  if (c >= '\n' && c <= '\r') return 1;
  if (c == 0xC2 && byte(pos + 1) == 0x85) return 2;
  if (c == 0xE2 && byte(pos + 1) == 0x80 && (byte(pos + 2) == 0xA8 || byte(pos + 2) == 0xA9))
    return 3;
  return 0;
}

struct Line {
  string_view text;
  std::size_t next = 0;  // where the following line starts
  bool last = true;
};

Line lineAt(string_view source, std::size_t start) {
  for (std::size_t pos = start; pos < source.size(); ++pos) {
    if (!kNewlineStart[static_cast<unsigned char>(source[pos])]) continue;
    if (std::size_t length = newlineLength(source, pos))
      return {source.substr(start, pos - start), pos + length, false};
  }
  return {source.substr(start), source.size(), true};
}

std::size_t findIf(string_view text, std::size_t pos, const std::array<bool, 256>& table) {
  while (pos < text.size() && !table[static_cast<unsigned char>(text[pos])]) ++pos;
  return pos;
}

std::size_t skipWhile(string_view text, std::size_t pos, const std::array<bool, 256>& table) {
  while (pos < text.size() && table[static_cast<unsigned char>(text[pos])]) ++pos;
  return pos;
}

// Whether a word starts at `pos`: there is a character and it is neither
// whitespace nor punctuation.
bool wordStartsAt(string_view text, std::size_t pos) {
  if (pos >= text.size()) return false;
  std::size_t length;
  const char32_t c = decodeUtf8(text, pos, &length);
  return !isUnicodeWhitespace(c) && !isUnicodePunctuation(c);
}

string_view trimmed(string_view text) {
  std::size_t begin = text.size(), end = 0;
  for (std::size_t pos = 0, length = 0; pos < text.size(); pos += length) {
    if (isUnicodeWhitespace(decodeUtf8(text, pos, &length))) continue;
    if (begin == text.size()) begin = pos;
    end = pos + length;
  }
  return begin < end ? text.substr(begin, end - begin) : string_view();
}

// The level of a "# " ... "###### " heading line, 0 for any other line.
std::size_t headingLevel(string_view line) {
  std::size_t hashes = 0;
  while (hashes < line.size() && hashes < 7 && line[hashes] == '#') ++hashes;
  return hashes >= 1 && hashes <= 6 && hashes < line.size() && line[hashes] == ' ' ? hashes : 0;
}

// The heading's text: the prefix goes, and so does every further group of as
// many hashes as the prefix had, wherever it stands ("## A ##" is "A").
std::string headingText(string_view line, std::size_t level) {
  std::string text;
  const string_view rest = line.substr(level + 1);
  for (std::size_t pos = 0; pos < rest.size();) {
    if (rest[pos] != '#') {
      text += rest[pos++];
      continue;
    }
    std::size_t run = pos;
    while (run < rest.size() && rest[run] == '#') ++run;
    text.append((run - pos) % level, '#');
    pos = run;
  }
  return std::string(trimmed(text));
}

// A run of instruction characters with its escapes taken out: each backslash
// that has a character after it in the run makes that character literal.
struct Tag {
  std::string remaining;  // selects the style
  std::string escaped;    // shown as text
};

Tag readTag(string_view line, std::size_t& pos) {
  const std::size_t start = pos;
  pos = skipWhile(line, pos, kInstruction);
  const string_view run = line.substr(start, pos - start);
  Tag tag;
  if (run.size() < 2 || run.find('\\') == string_view::npos) {
    tag.remaining = run;
    return tag;
  }
  // Taking out the first escape pair again and again comes down to one pass
  // from the left. A backslash that ends the run escapes nothing and stays.
  for (std::size_t i = 0; i < run.size(); ++i) {
    if (run[i] == '\\' && i + 1 < run.size()) {
      tag.escaped += run[++i];
    } else {
      tag.remaining += run[i];
    }
  }
  return tag;
}

TextStyle textStyleFor(LineType type) {
  switch (type) {
    case LineType::h1:
      return TextStyle::title1;
    case LineType::h2:
      return TextStyle::title2;
    case LineType::h3:
      return TextStyle::title2;
    case LineType::h4:
      return TextStyle::headline;
    case LineType::h5:
      return TextStyle::subheadline;
    case LineType::h6:
      return TextStyle::footnote;
    case LineType::body:
      return TextStyle::body;
  }
  return TextStyle::body;
}

constexpr std::size_t kLineTypes = 7;
constexpr std::size_t kLineStyles = 5;

// Collects the styled pieces of one rendering into runs. The font and
// colour of each (line type, style) pair are worked out once, and pairs that
// come out alike share an entry, so neighbouring pieces that look the same
// end up in one run.
class RunBuilder {
 public:
  RunBuilder(const MarkdownRenderer& renderer, const FontBook& fonts)
      : renderer_(renderer), fonts_(fonts) {
    entryOf_.fill(-1);
  }

  void append(string_view text, LineType type, LineStyle style, string_view link = string_view()) {
    if (text.empty()) return;
    const int entry = entryFor(type, style);
    if (entry == lastEntry_ && !runs_.empty() && sameLink(runs_.back().link, link)) {
      runs_.back().text += text;
      return;
    }
    const Entry& e = entries_[entry];
    TextRun& run = runs_.emplace_back(TextRun{std::string(text), e.font, e.color, std::nullopt});
    if (!link.empty()) run.link = std::string(link);
    lastEntry_ = entry;
  }

  StyledText take() { return StyledText{std::move(runs_), 0}; }

 private:
  static bool sameLink(const std::optional<std::string>& a, string_view b) {
    return a ? *a == b : b.empty();
  }

  struct Entry {
    Font font;
    Color color;
  };

  const BasicStyles& lineStyleOf(LineType type) const {
    switch (type) {
      case LineType::h1:
        return renderer_.h1;
      case LineType::h2:
        return renderer_.h2;
      case LineType::h3:
        return renderer_.h3;
      case LineType::h4:
        return renderer_.h4;
      case LineType::h5:
        return renderer_.h5;
      case LineType::h6:
        return renderer_.h6;
      case LineType::body:
        return renderer_.body;
    }
    return renderer_.body;
  }

  Entry attributes(LineType type, LineStyle style) const {
    const TextStyle textStyle = textStyleFor(type);
    const BasicStyles& source = style == LineStyle::code   ? renderer_.code
                                : style == LineStyle::link ? renderer_.link
                                                           : lineStyleOf(type);
    const std::optional<std::string>& name =
        source.fontName ? source.fontName : renderer_.body.fontName;
    // Zero means unset; so does a size no font can have.
    double size = source.fontSize;
    if (!(size > 0)) size = fonts_.preferredFont(textStyle).pointSize;
    if (!(size > 0)) size = 14;
    std::optional<Font> font = name ? fonts_.font(*name, size) : std::nullopt;
    if (!font) font = fonts_.preferredFont(textStyle);
    if (style == LineStyle::italic) {
      if (auto italic = fonts_.withItalic(*font)) font = italic;
    } else if (style == LineStyle::bold) {
      if (auto bold = fonts_.withBold(*font)) font = bold;
    }
    return {*font, source.color};
  }

  int entryFor(LineType type, LineStyle style) {
    int& slot =
        entryOf_[static_cast<std::size_t>(type) * kLineStyles + static_cast<std::size_t>(style)];
    if (slot >= 0) return slot;
    Entry entry = attributes(type, style);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].font == entry.font && entries_[i].color == entry.color)
        return slot = static_cast<int>(i);
    }
    entries_.push_back(std::move(entry));
    return slot = static_cast<int>(entries_.size() - 1);
  }

  const MarkdownRenderer& renderer_;
  const FontBook& fonts_;
  std::array<int, kLineTypes * kLineStyles> entryOf_;
  std::vector<Entry> entries_;
  int lastEntry_ = -1;
  std::vector<TextRun> runs_;
};

// Scans one line left to right, never skipping a character.
class LineScanner {
 public:
  LineScanner(string_view line, LineType type, RunBuilder& out)
      : line_(line), type_(type), out_(out) {}

  void scan() {
    while (pos_ < line_.size()) {
      const std::size_t start = pos_;
      pos_ = findIf(line_, pos_, kInstruction);
      if (pos_ == start) {
        styledRun(true);
        continue;
      }
      out_.append(line_.substr(start, pos_ - start), type_, LineStyle::none);
      const std::size_t remembered = pos_;
      Tag tag = readTag(line_, pos_);
      if (wordStartsAt(line_, pos_) || tag.remaining == "[") {
        pos_ = remembered;
        styledRun(false);
      } else {
        // An instruction run before a blank or punctuation is plain text,
        // without the characters it escaped.
        out_.append(tag.remaining, type_, LineStyle::none);
      }
    }
  }

 private:
  std::size_t readUpTo(const std::array<bool, 256>& stops, string_view& text) {
    const std::size_t start = pos_;
    pos_ = findIf(line_, pos_, stops);
    text = line_.substr(start, pos_ - start);
    return text.size();
  }

  // A run opened by the instruction characters at the scan position and
  // ending at the next instruction character; runs do not nest.
  void styledRun(bool startOfLine) {
    const Tag opening = readTag(line_, pos_);
    LineStyle style = styleFromString(opening.remaining);
    string_view text;
    string_view url;
    if (style == LineStyle::link) {
      readUpTo(kLinkCharacter, text);
      pos_ = skipWhile(line_, pos_, kLinkCharacter);
      readUpTo(kLinkCharacter, url);
      pos_ = skipWhile(line_, pos_, kLinkCharacter);
      if (text.empty() || url.empty()) {
        style = LineStyle::none;
        url = string_view();
      }
    } else {
      readUpTo(kInstruction, text);
    }
    out_.append(opening.escaped, type_, style);
    if (style == LineStyle::code && startOfLine) out_.append("\t", type_, style);
    out_.append(text, type_, style, url);
    const Tag closing = readTag(line_, pos_);
    out_.append(closing.escaped, type_, style);
  }

  string_view line_;
  LineType type_;
  RunBuilder& out_;
  std::size_t pos_ = 0;
};

}  // namespace

MarkdownRenderer::MarkdownRenderer(std::string string, const FontBook& fonts)
    : string(std::move(string)), fonts_(&fonts) {
  const std::string name = fonts.preferredFont(TextStyle::body).family;
  for (BasicStyles* style : {&h1, &h2, &h3, &h4, &h5, &h6, &body, &link, &bold, &italic, &code})
    style->fontName = name;
}

std::optional<MarkdownRenderer> MarkdownRenderer::fromFile(const std::filesystem::path& path,
                                                           const FontBook& fonts) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad() || !isValidUtf8(text)) return std::nullopt;
  return MarkdownRenderer(std::move(text), fonts);
}

// The bold style is left alone on purpose: rendering never reads it.
void MarkdownRenderer::setFontSizeForAllStyles(double size) {
  for (BasicStyles* style : {&h1, &h2, &h3, &h4, &h5, &h6, &body, &link, &italic, &code})
    style->fontSize = size;
}

void MarkdownRenderer::setFontColorForAllStyles(const Color& color) {
  for (BasicStyles* style : {&h1, &h2, &h3, &h4, &h5, &h6, &body, &link, &italic, &code})
    style->color = color;
}

void MarkdownRenderer::setFontNameForAllStyles(const std::string& name) {
  for (BasicStyles* style : {&h1, &h2, &h3, &h4, &h5, &h6, &body, &link, &italic, &code})
    style->fontName = name;
}

StyledText MarkdownRenderer::attributedString() {
  RunBuilder out(*this, *fonts_);
  const string_view source = string;
  Line line = lineAt(source, 0);
  for (;;) {
    const Line next = line.last ? Line{} : lineAt(source, line.next);
    string_view text = line.text.empty() ? string_view(" ") : line.text;
    std::string heading;
    if (const std::size_t level = headingLevel(text)) {
      heading = headingText(text, level);
      text = heading;
      currentType = static_cast<LineType>(level - 1);
    }
    // A line of "=" or "-" under a line makes it a heading and is not shown,
    // even when it was meant as a list item.
    bool underlined = false;
    if (!line.last && !next.text.empty() && (next.text[0] == '=' || next.text[0] == '-')) {
      currentType = next.text[0] == '=' ? LineType::h1 : LineType::h2;
      underlined = true;
    }
    LineScanner(text, currentType, out).scan();
    // The separator carries the body text's font and colour: a label needs
    // some font for it, and a body-sized break between paragraphs reads best.
    if (!line.last) out.append("\n", LineType::body, LineStyle::none);
    currentType = LineType::body;
    if (line.last) break;
    if (!underlined) {
      line = next;
    } else if (next.last) {
      break;
    } else {
      line = lineAt(source, next.next);
    }
  }
  return out.take();
}

}  // namespace vicinix
