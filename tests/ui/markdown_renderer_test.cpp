#include "ui/markdown_renderer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/temporary_directory.h"
#include "ui/fake/fake_font_book.h"

namespace vicinix {
namespace {

const Color kRed{1, 0, 0, 1};
const Color kBlue{0, 0, 1, 1};

// Runs as "[text]{differences from a plain 15-point Fake Sans body run}",
// so a whole rendering compares as one readable string.
std::string describe(const StyledText& styled) {
  std::string out;
  for (const TextRun& run : styled.runs) {
    std::vector<std::string> tags;
    if (run.font.family != FakeFontBook::kSans) tags.push_back(run.font.family);
    if (run.font.pointSize != 15) tags.push_back(std::to_string(int(run.font.pointSize)));
    if (run.font.weight == FontWeight::bold) tags.push_back("b");
    if (run.font.weight == FontWeight::semibold) tags.push_back("sb");
    if (run.font.italic) tags.push_back("i");
    if (run.link) tags.push_back("->" + *run.link);
    out += "[" + run.text + "]";
    if (tags.empty()) continue;
    out += "{";
    for (std::size_t i = 0; i < tags.size(); ++i) out += (i ? " " : "") + tags[i];
    out += "}";
  }
  return out;
}

class MarkdownRendererTest : public ::testing::Test {
 protected:
  FakeFontBook fonts;

  // Rendered as the campaign page does it, with code and links set apart so
  // that their runs are visible in the description.
  std::string render(const std::string& text) {
    MarkdownRenderer renderer(text, fonts);
    renderer.setFontSizeForAllStyles(15);
    renderer.code.fontName = FakeFontBook::kMono;
    renderer.link.fontName = FakeFontBook::kSerif;
    return describe(renderer.attributedString());
  }
};

using Case = std::pair<const char*, const char*>;

template <typename Render>
void expectAll(std::initializer_list<Case> cases, Render render) {
  for (const auto& [source, expected] : cases)
    EXPECT_EQ(render(source), expected) << "source: \"" << source << '"';
}

TEST_F(MarkdownRendererTest, InstructionCharactersOpenOneRunUpToTheNextUnlessBlankOrEscaped) {
  expectAll({{"Hello *world*", "[Hello ][world]{i}"},
             {"**bold** and __bold__", "[bold]{b}[ and ][bold]{b}"},
             {"`code` here", "[\tcode]{Fake Mono}[ here]"},
             {"see `code`", "[see ][code]{Fake Mono}"},
             {"*open", "[open]{i}"},
             {"*mixed_ tags", "[mixed]{i}[ tags]"},
             {"***three", "[three]"},
             {"*_both", "[both]"},
             // No nesting: the bold ends at the inner asterisk, and the
             // rest is plain because blanks follow the later runs.
             {"**bold *it* x**", "[bold ]{b}[it* x**]"},
             // Before a blank or punctuation an instruction is literal.
             {"2 * 3", "[2 * 3]"},
             {"x *.y", "[x *.y]"},
             {"end *", "[end *]"},
             // Symbols are not punctuation: a word starts there.
             {"x *$y", "[x ][$y]{i}"},
             {"x *=y", "[x ][=y]{i}"},
             // Beyond ASCII: Czech quotes and the no-break space end a word,
             // letters start one, and multi-byte characters stay whole.
             {"x *\u201Ey\u201C", "[x *\u201Ey\u201C]"},
             {"x *\u00A0y", "[x *\u00A0y]"},
             {"x *\u010Dau*", "[x ][\u010Dau]{i}"},
             {"x *\u2014 y", "[x *\u2014 y]"},
             // Backslash escapes take characters out of the tag.
             {"a \\*b*", "[a *b]"},
             {"\\\\x", "[\\x]"},
             {"\\**x", "[*x]{i}"},  // the escape leaves "*", which is italic
             {"a \\ b", "[a \\ b]"},
             {"\\x", "[x]"},
             {"*\\x", "[x]"},  // a backslash that ends the run escapes nothing
             // Before a blank only the tag's remaining characters are shown.
             {"a \\* b", "[a  b]"}},
            [this](const std::string& text) { return render(text); });
}

TEST_F(MarkdownRendererTest, LinksNeedTextAndAddress) {
  expectAll({{"[text](https://a.example/x?y=1)", "[text]{Fake Serif ->https://a.example/x?y=1}"},
             {"go [here](u) now", "[go ][here]{Fake Serif ->u}[ now]"},
             {"[text]", "[text]"},
             {"[](u) x", "[ x]"},
             {"see [ spaced](u)", "[see ][ spaced]{Fake Serif ->u}"},
             // A link takes a closing tag like any run.
             {"[a](u)*b", "[a]{Fake Serif ->u}[b]"}},
            [this](const std::string& text) { return render(text); });
}

TEST_F(MarkdownRendererTest, LinesSplitAtEveryNewlineCharacter) {
  expectAll({{"", "[ ]"},
             {"a\nb", "[a\nb]"},
             {"a\n", "[a\n ]"},
             {"a\r\nb", "[a\n \nb]"},
             {"a\rb\x0B"
              "c\x0C"
              "d",
              "[a\nb\nc\nd]"},
             {"a\u0085b\u2028c\u2029d", "[a\nb\nc\nd]"},
             {"`x`\n`y`", "[\tx]{Fake Mono}[\n][\ty]{Fake Mono}"},
             {"\n\n", "[ \n \n ]"}},
            [this](const std::string& text) { return render(text); });
}

TEST_F(MarkdownRendererTest, HeadingsAndTheirKeptQuirks) {
  const auto atPreferredSizes = [this](const std::string& text) {
    MarkdownRenderer renderer(text, fonts);
    return describe(renderer.attributedString());
  };
  expectAll({{"# Title", "[Title]{26}"},
             {"## A ##", "[A]{21}"},
             {"### a#b##c####d  ", "[a#b##c#d]{21}"},
             {"## a#b##c####d", "[a#bcd]{21}"},
             {"#### *Four*", "[Four]{16 i}"},
             {"###### six", "[six]{12}"},
             {"####### seven", "[####### seven]"},
             {"#Title", "[#Title]"},
             {"# ", ""},
             {"Title\n===\nNext", "[Title]{26}[\nNext]"},
             // A list item written with a hyphen turns the line above into a
             // heading and disappears.
             {"Item\n- second\nthird", "[Item]{21}[\nthird]"},
             {"# Hash\n---", "[Hash]{21}[\n]"},
             {"a\n\n=", "[a\n][ ]{26}[\n]"},
             {"a\n =", "[a\n =]"}},
            atPreferredSizes);
  // The page gives every style the text size: headings then look like body.
  EXPECT_EQ(render("# Title\n## Sub"), "[Title\nSub]");
}

TEST_F(MarkdownRendererTest, AttributesComeFromTheLineTypeAndTheRunStyle) {
  MarkdownRenderer renderer("# *i* **b** `c` [l](u)\nplain", fonts);
  renderer.setFontSizeForAllStyles(17);
  renderer.setFontColorForAllStyles(kBlue);
  renderer.h1.fontName = FakeFontBook::kSerif;
  renderer.code.fontName = FakeFontBook::kMono;
  renderer.code.fontSize = 11;
  renderer.code.color = kRed;
  renderer.link.color = kRed;
  // Never read: bold and italic runs take the line's style with a trait.
  renderer.bold.fontName = FakeFontBook::kMono;
  renderer.bold.color = kRed;
  renderer.italic.fontName = FakeFontBook::kMono;
  renderer.italic.color = kRed;

  const StyledText styled = renderer.attributedString();
  ASSERT_EQ(styled.string(), "i b c l\nplain");
  using F = Font;
  const std::string serif = FakeFontBook::kSerif, mono = FakeFontBook::kMono,
                    sans = FakeFontBook::kSans;
  const std::vector<TextRun> expected{
      {"i", F{serif, 17, FontWeight::regular, true}, kBlue, {}},
      {" ", F{serif, 17}, kBlue, {}},
      {"b", F{serif, 17, FontWeight::bold}, kBlue, {}},
      {" ", F{serif, 17}, kBlue, {}},
      {"c", F{mono, 11}, kRed, {}},
      {" ", F{serif, 17}, kBlue, {}},
      {"l", F{sans, 17}, kRed, "u"},
      {"\nplain", F{sans, 17}, kBlue, {}},
  };
  EXPECT_EQ(styled.runs, expected);
  EXPECT_EQ(renderer.currentType, LineType::body);
}

TEST_F(MarkdownRendererTest, FontFallbacks) {
  const auto fontOf = [this](const std::string& text, auto setUp) {
    MarkdownRenderer renderer(text, fonts);
    setUp(renderer);
    return renderer.attributedString().runs.at(0).font;
  };
  // No name of its own: the body style's.
  EXPECT_EQ(fontOf("## h",
                   [](MarkdownRenderer& r) {
                     r.h2.fontName.reset();
                     r.body.fontName = FakeFontBook::kSerif;
                   }),
            (Font{FakeFontBook::kSerif, 21}));
  // An unknown name: the text style's preferred font, at its own size.
  EXPECT_EQ(fontOf("#### h",
                   [](MarkdownRenderer& r) {
                     r.setFontNameForAllStyles("No Such Font");
                     r.setFontSizeForAllStyles(30);
                   }),
            (Font{FakeFontBook::kSans, 16, FontWeight::semibold}));
  // A size that is zero or makes no sense: the preferred size.
  EXPECT_EQ(fontOf("##### h", [](MarkdownRenderer& r) { r.h5.fontSize = -4; }),
            (Font{FakeFontBook::kSans, 14}));
  // A family without bold or italic faces keeps its regular face.
  for (const char* text : {"*x*", "**x**"}) {
    EXPECT_EQ(fontOf(text, [](MarkdownRenderer& r) { r.setFontNameForAllStyles("Fake Plain"); }),
              (Font{FakeFontBook::kPlain, 15}))
        << text;
  }
}

TEST_F(MarkdownRendererTest, FromFileReadsUtf8Only) {
  const testing::TemporaryDirectory temporary;
  const auto& dir = temporary.path;
  std::ofstream(dir / "good.md", std::ios::binary) << "**Ahoj** \u010Dlov\u011Bku";
  std::ofstream(dir / "bad.md", std::ios::binary) << "**Ahoj** \xC4 x";
  auto good = MarkdownRenderer::fromFile(dir / "good.md", fonts);
  ASSERT_TRUE(good);
  EXPECT_EQ(describe(good->attributedString()), "[Ahoj]{b}[ \u010Dlov\u011Bku]");
  EXPECT_FALSE(MarkdownRenderer::fromFile(dir / "bad.md", fonts));
  EXPECT_FALSE(MarkdownRenderer::fromFile(dir / "missing.md", fonts));
  EXPECT_FALSE(MarkdownRenderer::fromFile(dir, fonts));
}

}  // namespace
}  // namespace vicinix
