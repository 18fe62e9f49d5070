#pragma once

#include <string>
#include <string_view>

namespace vicinix {

// True for a name that stays inside the directory it is joined to: not empty,
// not "." or "..", without "/" or NUL.
bool isSafeFileName(std::string_view name);

// The name a picture at `path` is cached under: the URL's last path component
// when it is longer than `minimumLength` and safe, otherwise `fallback`. The
// backend chooses these paths, so nothing it sends can name a file elsewhere.
std::string cacheFileName(std::string_view path, const std::string& fallback,
                          size_t minimumLength = 0);

}  // namespace vicinix
