#pragma once

#include <cstddef>
#include <vector>

namespace vicinix {

// `list` cut into consecutive pieces of `size` elements in order, the last
// holding the remainder; an empty list (or a size of 0) gives no pieces.
template <class T>
std::vector<std::vector<T>> chunked(const std::vector<T>& list, size_t size) {
  std::vector<std::vector<T>> pieces;
  if (size == 0) return pieces;
  pieces.reserve((list.size() + size - 1) / size);
  for (size_t start = 0; start < list.size(); start += size) {
    size_t end = start + size < list.size() ? start + size : list.size();
    pieces.emplace_back(list.begin() + start, list.begin() + end);
  }
  return pieces;
}

}  // namespace vicinix
