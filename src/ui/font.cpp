#include "ui/font.h"

namespace vicinix {

// Desktop sizes in points (device-independent pixels), written once here so
// every toolkit agrees: a body of 15 reads well at arm's length on a kiosk
// and matches common desktop defaults; headings step up from it.
double preferredPointSize(TextStyle style) {
  switch (style) {
    case TextStyle::title1: return 26;
    case TextStyle::title2: return 21;
    case TextStyle::headline: return 16;
    case TextStyle::subheadline: return 14;
    case TextStyle::footnote: return 12;
    case TextStyle::body: return 15;
  }
  return 15;
}

FontWeight preferredWeight(TextStyle style) {
  return style == TextStyle::headline ? FontWeight::semibold : FontWeight::regular;
}

}  // namespace vicinix
