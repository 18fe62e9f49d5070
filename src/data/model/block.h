#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vicinix {

// One content block of a campaign page. Its attributes are the Attribute rows
// whose `block` is this id (AttributeTable::attributesOf).
struct Block {
  std::string id{};
  std::string type{};
  int64_t sortIndex = 0;  // from 1, in arrival order
  std::optional<std::string> campaign{};

  bool operator==(const Block&) const = default;
};

}  // namespace vicinix
