#include "journal_line_buffer.h"

#include <string_view>

namespace vicinix::host {
namespace {

JournalPriority priorityOf(const std::string& line) {
  // "COMMAND: error: ..." and the usage errors' "vicinix-host: error: ...".
  size_t colon = line.find(": ");
  if (colon == std::string::npos || line.find(' ') < colon) return JournalPriority::info;
  std::string_view level = std::string_view(line).substr(colon + 2);
  if (level.starts_with("error:")) return JournalPriority::error;
  if (level.starts_with("warning:")) return JournalPriority::warning;
  return JournalPriority::info;
}

}  // namespace

JournalLineBuffer::JournalLineBuffer(std::ostream& stream, std::FILE* file)
    : stream_(stream), original_(stream.rdbuf(this)), file_(file) {}

JournalLineBuffer::~JournalLineBuffer() {
  if (!line_.empty()) writeLine();
  stream_.rdbuf(original_);
}

JournalLineBuffer::int_type JournalLineBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof()))
    return traits_type::not_eof(character);
  std::lock_guard lock(mutex_);
  put(traits_type::to_char_type(character));
  return character;
}

std::streamsize JournalLineBuffer::xsputn(const char* text, std::streamsize count) {
  std::lock_guard lock(mutex_);
  for (std::streamsize i = 0; i < count; ++i) put(text[i]);
  return count;
}

void JournalLineBuffer::put(char character) {
  if (character == '\n') {
    writeLine();
  } else {
    line_.push_back(character);
  }
}

// A partial line stays until its end arrives: a prefix mid-line would be text.
int JournalLineBuffer::sync() {
  std::lock_guard lock(mutex_);
  std::fflush(file_);
  return 0;
}

void JournalLineBuffer::writeLine() {
  std::string text(journalPrefix(true, priorityOf(line_)));
  text.append(line_).push_back('\n');
  std::fwrite(text.data(), 1, text.size(), file_);
  std::fflush(file_);
  line_.clear();
}

}  // namespace vicinix::host
