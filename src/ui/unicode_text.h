#pragma once

#include <cstddef>
#include <string_view>

namespace vicinix {

// The few Unicode facts the Markdown renderer needs about UTF-8 text.

// The code point starting at `text[pos]` (pos < size) and its length in bytes.
// A malformed or truncated sequence reads as U+FFFD, one byte long, so a scan
// always advances and never stops inside a well-formed character.
char32_t decodeUtf8(std::string_view text, std::size_t pos, std::size_t* length);

bool isValidUtf8(std::string_view text);

// Blanks (general category Zs), the tab and every newline character.
bool isUnicodeWhitespace(char32_t c);
// General categories Pc, Pd, Ps, Pe, Pi, Pf and Po (Unicode 14). Not the
// symbols: "$", "+", "<", "=", ">", "^", "`", "|" and "~" are not punctuation.
bool isUnicodePunctuation(char32_t c);

}  // namespace vicinix
