#include "platform/linux/standard_stream_log.h"

#include <cstdio>
#include <string>

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
  void debugLine(std::string_view line) override { writeLine(stdout, "", line); }

  // There is no syslog call on purpose: systemd services have stderr in the
  // journal already, and a desktop session keeps it in its own log.
  void systemLine(std::string_view line) override { writeLine(stderr, "vicinix: ", line); }
};

}  // namespace

std::shared_ptr<Log> makeStandardStreamLog() {
  return std::make_shared<StandardStreamLog>();
}

}  // namespace vicinix
