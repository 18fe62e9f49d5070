#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vicinix {

// One key/value pair of a block.
struct Attribute {
  std::string id{};
  std::string key{};
  std::string value{};
  int64_t sortIndex = 0;  // from 0, in arrival order
  std::optional<std::string> block{};

  // File name under which an image attribute's picture is cached.
  std::string imageName() const;

  bool operator==(const Attribute&) const = default;
};

}  // namespace vicinix
