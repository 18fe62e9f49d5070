#pragma once

#include <filesystem>

namespace vicinix {

// Creates `directory` (with its parents) when nothing exists at its path and
// marks it as not to be backed up: everything the SDK keeps can be fetched
// again. A failure goes to the system log as "Unable to create directory ".
void createPrivateDirectoryIfNeeded(const std::filesystem::path& directory);

}  // namespace vicinix
