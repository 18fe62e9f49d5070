#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "base/atomic_file.h"
#include "platform/defaults_store.h"
#include "platform/log.h"

namespace vicinix {

// Replaces `file` with `bytes` so that a crash leaves the old or the new
// contents, never a mix of both. False when that failed.
using SettingsFileWriter =
    std::function<bool(const std::filesystem::path& file, std::string_view bytes)>;

// Settings persisted as an XML property list at `file`, read once here. A file
// that cannot be read as a dictionary is moved aside to
// "<name>.corrupt-<UTC time>" with one line to `log`, and the store starts
// empty; temporary files of a writer killed mid-write are removed. Entries of kinds a DefaultsValue
// cannot hold (data, dictionaries, arrays of non-strings) stay in the file untouched but are not
// shown. XML keeps dates to the whole second, so that is what survives a restart.
std::shared_ptr<DefaultsStore> makePlistDefaultsStore(
    std::filesystem::path file, std::shared_ptr<Log> log,
    SettingsFileWriter writer = writeFileAtomically);

}  // namespace vicinix
