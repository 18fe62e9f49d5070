#include "platform/linux/standard_stream_log.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/linux/journal_stream.h"

namespace vicinix {
namespace {

// One fwrite per line: stdio locks the stream per call, so lines from several
// threads never interleave mid-line.
void writeLine(std::FILE* stream, std::string_view prefix, std::string_view line) {
  std::string text;
  text.reserve(prefix.size() + line.size() + 1);
  text.append(prefix).append(line).push_back('\n');
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

class StandardStreamLog final : public Log {
 public:
  // Decided once: a service's streams do not move to the journal or away
  // from it while it runs.
  StandardStreamLog()
      : debugPrefix_(journalPrefix(isJournalStream(STDOUT_FILENO), JournalPriority::debug)),
        systemPrefix_(
            std::string(journalPrefix(isJournalStream(STDERR_FILENO), JournalPriority::warning)) +
            "vicinix: ") {}

  void debugLine(std::string_view line) override { writeLine(stdout, debugPrefix_, line); }

  // There is no syslog call on purpose: systemd services have stderr in the
  // journal already, and a desktop session keeps it in its own log. In the
  // journal these lines are warnings, so `journalctl -p warning` shows them.
  void systemLine(std::string_view line) override { writeLine(stderr, systemPrefix_, line); }

 private:
  const std::string debugPrefix_;
  const std::string systemPrefix_;
};

}  // namespace

std::shared_ptr<Log> makeStandardStreamLog() {
  return std::make_shared<StandardStreamLog>();
}

}  // namespace vicinix
