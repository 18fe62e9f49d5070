#include "data/model/attribute.h"

#include "data/model/cache_file_name.h"

namespace vicinix {

std::string Attribute::imageName() const {
  // A one-character component is "/" or similar, not a file name worth keeping.
  return cacheFileName(value, id + "_attribute.jpg", 1);
}

}  // namespace vicinix
