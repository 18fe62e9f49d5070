#include "platform/linux/journal_stream.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

namespace vicinix {

bool isJournalStream(int fd) {
  const char* value = std::getenv("JOURNAL_STREAM");
  if (value == nullptr) return false;
  unsigned long long device = 0, inode = 0;
  char rest = 0;
  if (std::sscanf(value, "%llu:%llu%c", &device, &inode, &rest) != 2) return false;
  struct stat status {};
  if (fstat(fd, &status) != 0) return false;
  return status.st_dev == device && status.st_ino == inode;
}

std::string_view journalPrefix(bool journal, JournalPriority priority) {
  if (!journal) return {};
  switch (priority) {
    case JournalPriority::error:
      return "<3>";
    case JournalPriority::warning:
      return "<4>";
    case JournalPriority::info:
      return "<6>";
    case JournalPriority::debug:
      return "<7>";
  }
  return {};
}

}  // namespace vicinix
