#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace vicinix {

// Replaces `file` with `bytes` so that a crash leaves the old or the new
// contents, never a mix: creates the directory, writes a temporary file beside
// `file`, fsyncs it, renames it over `file` and fsyncs the directory. False
// when that failed, with errno telling why.
bool writeFileAtomically(const std::filesystem::path& file, std::string_view bytes);

// Removes the temporary files of writeFileAtomically() for `file` that a killed
// process left behind; those of a write still under way are left alone.
void removeAbandonedTemporaryFiles(const std::filesystem::path& file);

// Renames an unusable `file` to "<file>.corrupt-<UTC time>", a name no earlier
// set-aside copy has, so it can still be recovered by hand. The new name, or
// nothing with errno set.
std::optional<std::filesystem::path> moveFileAside(const std::filesystem::path& file);

}  // namespace vicinix
