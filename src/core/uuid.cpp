#include "core/uuid.h"

#include <uuid/uuid.h>

namespace vicinix {

std::string makeUuidString() {
  uuid_t bytes;
  uuid_generate_random(bytes);
  char text[37];
  uuid_unparse_upper(bytes, text);
  return text;
}

}  // namespace vicinix
