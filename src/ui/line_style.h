#pragma once

#include <string_view>

namespace vicinix {

// How a run inside a line is styled, chosen by the instruction characters that open it.
enum class LineStyle { none, italic, bold, code, link };

// "**" and "__" are bold, "*" and "_" italic, "`" code, "[" a link; any
// other run of instruction characters, the empty one included, is plain.
LineStyle styleFromString(std::string_view run);

}  // namespace vicinix
