#pragma once

namespace vicinix {

// What a line of campaign Markdown is: a heading of one of six levels or body text.
enum class LineType : int { h1 = 0, h2 = 1, h3 = 2, h4 = 3, h5 = 4, h6 = 5, body = 6 };

}  // namespace vicinix
