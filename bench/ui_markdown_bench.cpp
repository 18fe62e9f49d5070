#include <benchmark/benchmark.h>
#include <md4c-html.h>

#include <string>

#include "ui/fake/fake_font_book.h"
#include "ui/markdown_renderer.h"

namespace vicinix {
namespace {

// Campaign copy as editors write it: short paragraphs in Czech with bold,
// italic, code and links, hash and underlined headings, hyphen list items.
// Every form is also CommonMark, so md4c does comparable work on it.
std::string campaignText(std::size_t bytes) {
  static const char* const kSection =
      "# Podzimní výprodej\n"
      "\n"
      "Jen tento týden máte **20 % slevu** na *vybrané* zboží v naší prodejně. "
      "Stačí ukázat kód `PODZIM20` u pokladny nebo navštívit "
      "[e-shop](https://shop.example/podzim).\n"
      "\n"
      "## Co nabízíme ##\n"
      "Čerstvé pečivo každé ráno, __domácí__ marmeládu a _sezónní_ ovoce z okolních farem. "
      "Otevřeno denně od 7 do 19 hodin, v neděli do 17.\n"
      "\n"
      "Věrnostní program\n"
      "=================\n"
      "Za každých 100 Kč získáte bod; za 10 bodů dostanete kávu zdarma. "
      "Podrobnosti najdete v [podmínkách](https://shop.example/vernost) programu.\n"
      "\n";
  std::string text;
  while (text.size() < bytes) text += kSection;
  return text;
}

// One long line of markup: a text that would make a quadratic scan show.
std::string longLine(std::size_t bytes) {
  std::string text;
  while (text.size() < bytes)
    text += "slovo **tučně** a *kurzívou*, `kód` a [odkaz](https://a.example/x) ";
  return text;
}

// As the campaign page does it: a fresh renderer per text, styled from the theme.
void renderStyled(benchmark::State& state, const std::string& text) {
  FakeFontBook fonts;
  for (auto _ : state) {
    MarkdownRenderer renderer(text, fonts);
    renderer.setFontSizeForAllStyles(15);
    renderer.setFontColorForAllStyles(Color{0.2, 0.2, 0.2, 1});
    benchmark::DoNotOptimize(renderer.attributedString());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void renderHtml(benchmark::State& state, const std::string& text) {
  std::string html;
  for (auto _ : state) {
    html.clear();
    md_html(
        text.data(), static_cast<MD_SIZE>(text.size()),
        [](const MD_CHAR* data, MD_SIZE size, void* out) {
          static_cast<std::string*>(out)->append(data, size);
        },
        &html, MD_DIALECT_COMMONMARK, 0);
    benchmark::DoNotOptimize(html.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void BM_MarkdownToStyledText(benchmark::State& state) {
  renderStyled(state, campaignText(state.range(0)));
}
void BM_Md4cMarkdownToHtml(benchmark::State& state) {
  renderHtml(state, campaignText(state.range(0)));
}
BENCHMARK(BM_MarkdownToStyledText)->Arg(1 << 10)->Arg(4 << 10)->Arg(16 << 10);
BENCHMARK(BM_Md4cMarkdownToHtml)->Arg(1 << 10)->Arg(4 << 10)->Arg(16 << 10);

void BM_MarkdownToStyledTextLongLine(benchmark::State& state) {
  renderStyled(state, longLine(state.range(0)));
}
void BM_Md4cMarkdownToHtmlLongLine(benchmark::State& state) {
  renderHtml(state, longLine(state.range(0)));
}
BENCHMARK(BM_MarkdownToStyledTextLongLine)->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(BM_Md4cMarkdownToHtmlLongLine)->Arg(64 << 10)->Arg(1 << 20);

}  // namespace
}  // namespace vicinix
