#include "data/model/cache_file_name.h"

#include "base/url.h"

namespace vicinix {

bool isSafeFileName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::string cacheFileName(std::string_view path, const std::string& fallback,
                          size_t minimumLength) {
  if (auto url = Url::parse(path)) {
    std::string component = url->lastPathComponent();
    if (component.size() > minimumLength && isSafeFileName(component)) return component;
  }
  return fallback;
}

}  // namespace vicinix
