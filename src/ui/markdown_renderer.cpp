#include "ui/markdown_renderer.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
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

// Texts are scanned eight bytes at a time for the few bytes that matter;
// byte by byte, scanning took most of the rendering time.
constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

// Nonzero when some byte of `word` is below `limit` (at most 0x80).
constexpr std::uint64_t anyBelow(std::uint64_t word, unsigned char limit) {
  return (word - kOnes * limit) & ~word & kHighBits;
}
constexpr std::uint64_t anyEqual(std::uint64_t word, unsigned char c) {
  return anyBelow(word ^ (kOnes * c), 1);
}

constexpr auto mayHoldNewline = [](std::uint64_t word) {
  return anyBelow(word, '\r' + 1) | anyEqual(word, 0xC2) | anyEqual(word, 0xE2);
};
constexpr auto mayHoldInstruction = [](std::uint64_t word) {
  return anyEqual(word, '[') | anyEqual(word, '\\') | anyEqual(word, '*') | anyEqual(word, '_') |
         anyEqual(word, '`');
};

// The first position from `pos` whose byte is in `table`, or the end;
// `mayHold` tells whether eight bytes can hold such a byte.
template <typename WordTest>
std::size_t findIf(string_view text, std::size_t pos, const std::array<bool, 256>& table,
                   WordTest mayHold) {
  const auto wanted = [&](std::size_t i) { return table[static_cast<unsigned char>(text[i])]; };
  while (pos + 8 <= text.size()) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + pos, 8);
    if (!mayHold(word)) {
      pos += 8;
      continue;
    }
    for (const std::size_t end = pos + 8; pos < end; ++pos) {
      if (wanted(pos)) return pos;
    }
  }
  while (pos < text.size() && !wanted(pos)) ++pos;
  return pos;
}

std::size_t findInstruction(string_view text, std::size_t pos) {
  return findIf(text, pos, kInstruction, mayHoldInstruction);
}

std::size_t findLinkCharacter(string_view text, std::size_t pos) {
  return findIf(text, pos, kLinkCharacter, [](std::uint64_t w) {
    return anyEqual(w, ']') | anyEqual(w, '(') | anyEqual(w, ')');
  });
}

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
  for (std::size_t pos = start;; ++pos) {
    pos = findIf(source, pos, kNewlineStart, mayHoldNewline);
    if (pos == source.size()) break;
    if (std::size_t length = newlineLength(source, pos))
      return {source.substr(start, pos - start), pos + length, false};
  }
  return {source.substr(start), source.size(), true};
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
class Tag {
 public:
  // Reads the run at `pos` and moves `pos` past it.
  Tag(string_view line, std::size_t& pos) {
    const std::size_t start = pos;
    pos = skipWhile(line, pos, kInstruction);
    const string_view run = line.substr(start, pos - start);
    remaining = run;
    if (run.size() < 2 || run.find('\\') == string_view::npos) return;
    // Taking out the first escape pair again and again comes down to one
    // pass from the left. A backslash that ends the run escapes nothing and stays.
    std::string escapes;
    for (std::size_t i = 0; i < run.size(); ++i) {
      if (run[i] == '\\' && i + 1 < run.size()) {
        escapes += run[++i];
      } else {
        storage_ += run[i];
      }
    }
    const std::size_t kept = storage_.size();
    storage_ += escapes;
    remaining = string_view(storage_).substr(0, kept);
    escaped = string_view(storage_).substr(kept);
  }
  Tag(const Tag&) = delete;
  Tag& operator=(const Tag&) = delete;

  string_view remaining;  // selects the style
  string_view escaped;    // shown as text

 private:
  std::string storage_;  // backs both views once escapes were taken out
};

// The text style whose preferred font and size each line type falls back to.
TextStyle textStyleFor(LineType type) {
  constexpr TextStyle kStyles[] = {TextStyle::title1,   TextStyle::title2,      TextStyle::title2,
                                   TextStyle::headline, TextStyle::subheadline, TextStyle::footnote,
                                   TextStyle::body};
  return kStyles[static_cast<std::size_t>(type)];
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
    text_.reserve(renderer.string.size() + 1);
  }

  void append(string_view text, LineType type, LineStyle style, string_view link = string_view()) {
    if (text.empty()) return;
    const int entry = entryFor(type, style);
    if (spans_.empty() || entry != spans_.back().entry || !sameLink(spans_.back(), link)) {
      links_ += link;
      spans_.push_back(
          {text_.size(), text_.size(), links_.size() - link.size(), links_.size(), entry});
    }
    text_ += text;
    spans_.back().end = text_.size();
  }

  StyledText take() const {
    StyledText styled;
    styled.runs.reserve(spans_.size());
    for (const Span& span : spans_) {
      const Entry& entry = entries_[span.entry];
      TextRun& run = styled.runs.emplace_back(
          TextRun{text_.substr(span.begin, span.end - span.begin), entry.font, entry.color, {}});
      if (span.linkEnd > span.linkBegin)
        run.link = links_.substr(span.linkBegin, span.linkEnd - span.linkBegin);
    }
    return styled;
  }

 private:
  // A run in the making: its characters in text_, its address in links_.
  // Runs are only made at the end, once their number is known: most of
  // the time goes into moving them around otherwise.
  struct Span {
    std::size_t begin = 0, end = 0;
    std::size_t linkBegin = 0, linkEnd = 0;
    int entry = 0;
  };

  bool sameLink(const Span& span, string_view link) const {
    return string_view(links_).substr(span.linkBegin, span.linkEnd - span.linkBegin) == link;
  }

  struct Entry {
    Font font;
    Color color;
  };

  const BasicStyles& lineStyleOf(LineType type) const {
    constexpr BasicStyles MarkdownRenderer::*kStyles[] = {
        &MarkdownRenderer::h1, &MarkdownRenderer::h2, &MarkdownRenderer::h3,  &MarkdownRenderer::h4,
        &MarkdownRenderer::h5, &MarkdownRenderer::h6, &MarkdownRenderer::body};
    return renderer_.*kStyles[static_cast<std::size_t>(type)];
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
  std::string text_;
  std::string links_;
  std::vector<Span> spans_;
};

// Scans one line left to right, never skipping a character.
class LineScanner {
 public:
  LineScanner(string_view line, LineType type, RunBuilder& out)
      : line_(line), type_(type), out_(out) {}

  void scan() {
    while (pos_ < line_.size()) {
      const std::size_t start = pos_;
      pos_ = findInstruction(line_, pos_);
      if (pos_ == start) {
        styledRun(true);
        continue;
      }
      out_.append(line_.substr(start, pos_ - start), type_, LineStyle::none);
      const std::size_t remembered = pos_;
      const Tag tag(line_, pos_);
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
  string_view readUpTo(std::size_t (*find)(string_view, std::size_t)) {
    const std::size_t start = pos_;
    pos_ = find(line_, pos_);
    return line_.substr(start, pos_ - start);
  }

  // A run opened by the instruction characters at the scan position and
  // ending at the next instruction character; runs do not nest.
  void styledRun(bool startOfLine) {
    const Tag opening(line_, pos_);
    LineStyle style = styleFromString(opening.remaining);
    string_view text;
    string_view url;
    if (style == LineStyle::link) {
      text = readUpTo(findLinkCharacter);
      pos_ = skipWhile(line_, pos_, kLinkCharacter);
      url = readUpTo(findLinkCharacter);
      pos_ = skipWhile(line_, pos_, kLinkCharacter);
      if (text.empty() || url.empty()) {
        style = LineStyle::none;
        url = string_view();
      }
    } else {
      text = readUpTo(findInstruction);
    }
    out_.append(opening.escaped, type_, style);
    if (style == LineStyle::code && startOfLine) out_.append("\t", type_, style);
    out_.append(text, type_, style, url);
    const Tag closing(line_, pos_);
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
  // stdio rather than a stream: a stream throws when the path is a directory.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                       &std::fclose);
  if (!file) return std::nullopt;
  std::string text;
  char buffer[1 << 14];
  while (std::size_t read = std::fread(buffer, 1, sizeof buffer, file.get()))
    text.append(buffer, read);
  if (std::ferror(file.get()) || !isValidUtf8(text)) return std::nullopt;
  return MarkdownRenderer(std::move(text), fonts);
}

namespace {

// The bold style is left out on purpose: rendering never reads it.
template <typename Change>
void changeAllButBold(MarkdownRenderer& r, Change change) {
  for (BasicStyles* style :
       {&r.h1, &r.h2, &r.h3, &r.h4, &r.h5, &r.h6, &r.body, &r.link, &r.italic, &r.code})
    change(*style);
}

}  // namespace

void MarkdownRenderer::setFontSizeForAllStyles(double size) {
  changeAllButBold(*this, [&](BasicStyles& style) { style.fontSize = size; });
}

void MarkdownRenderer::setFontColorForAllStyles(const Color& color) {
  changeAllButBold(*this, [&](BasicStyles& style) { style.color = color; });
}

void MarkdownRenderer::setFontNameForAllStyles(const std::string& name) {
  changeAllButBold(*this, [&](BasicStyles& style) { style.fontName = name; });
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
    // A line beginning with "=" or "-" makes the line above a heading and is
    // not shown, even when it was meant as a list item.
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
