#pragma once

#include <filesystem>
#include <string_view>

namespace vicinix {

// Replaces `file` with `bytes` so that a crash leaves the old or the new
// contents, never a mix: creates the directory, writes a temporary file beside
// `file`, fsyncs it, renames it over `file` and fsyncs the directory. False
// when that failed, with errno telling why.
bool writeFileAtomically(const std::filesystem::path& file, std::string_view bytes);

}  // namespace vicinix
