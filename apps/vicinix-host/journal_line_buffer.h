#pragma once

#include <cstdio>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/linux/journal_stream.h"

namespace vicinix::host {

// Gives each line the host writes to std::cout or std::cerr its journald
// priority when the stream is the journal, so that
// `journalctl -p warning` shows what went wrong and nothing else. The host's
// lines say their level themselves ("run: error: ...", "run: warning: ..."):
// those become errors and warnings, every other line is information.
// Installed for the life of the object; lines are written whole. Qt may
// report from its own threads, hence the lock.
class JournalLineBuffer final : public std::streambuf {
 public:
  JournalLineBuffer(std::ostream& stream, std::FILE* file);
  ~JournalLineBuffer() override;
  JournalLineBuffer(const JournalLineBuffer&) = delete;
  JournalLineBuffer& operator=(const JournalLineBuffer&) = delete;

 protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

 private:
  void put(char character);
  void writeLine();

  std::ostream& stream_;
  std::streambuf* original_;
  std::FILE* file_;
  std::mutex mutex_;
  std::string line_;
};

}  // namespace vicinix::host
