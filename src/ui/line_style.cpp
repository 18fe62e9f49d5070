#include "ui/line_style.h"

namespace vicinix {

LineStyle styleFromString(std::string_view run) {
  if (run == "**" || run == "__") return LineStyle::bold;
  if (run == "*" || run == "_") return LineStyle::italic;
  if (run == "`") return LineStyle::code;
  if (run == "[") return LineStyle::link;
  return LineStyle::none;
}

}  // namespace vicinix
