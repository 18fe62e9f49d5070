#pragma once

#include <string_view>

namespace vicinix {

// The syslog priorities journald reads from a "<N>" at the start of a line.
enum class JournalPriority { error = 3, warning = 4, info = 6, debug = 7 };

// Whether `fd` is the stream systemd connected to the journal: its device and
// inode are the ones JOURNAL_STREAM names. A stream redirected elsewhere since
// (a pipe, a file) is not, even in a service.
bool isJournalStream(int fd);

// "<N>" for a line of that priority on a journal stream; "" otherwise, where a
// reader wants the line unchanged.
std::string_view journalPrefix(bool journal, JournalPriority priority);

}  // namespace vicinix
