// Campaign texts come from the backend: any bytes must render, in time
// linear in their length, into runs that are never empty, never split a
// character of well-formed text, and show each source byte about once.

#include <cstddef>
#include <cstdint>
#include <string>

#include "ui/fake/fake_font_book.h"
#include "ui/markdown_renderer.h"
#include "ui/unicode_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vicinix::FakeFontBook fonts;
  std::string text(reinterpret_cast<const char*>(data), size);
  const bool wellFormed = vicinix::isValidUtf8(text);
  vicinix::MarkdownRenderer renderer(std::move(text), fonts);
  renderer.setFontSizeForAllStyles(15);
  renderer.code.fontName = vicinix::FakeFontBook::kMono;
  const vicinix::StyledText styled = renderer.attributedString();

  std::size_t shown = 0;
  for (const auto& run : styled.runs) {
    if (run.text.empty()) __builtin_trap();
    if (wellFormed && !vicinix::isValidUtf8(run.text)) __builtin_trap();
    shown += run.text.size();
  }
  if (shown > 2 * size + 1 || renderer.currentType != vicinix::LineType::body) __builtin_trap();
  return 0;
}
