#include "data/model/attribute.h"

#include "core/url.h"

namespace vicinix {

std::string Attribute::imageName() const {
  // A one-character component is "/" or similar, not a file name worth keeping.
  if (auto url = Url::parse(value)) {
    std::string component = url->lastPathComponent();
    if (component.size() > 1) return component;
  }
  return id + "_attribute.jpg";
}

}  // namespace vicinix
