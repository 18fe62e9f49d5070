#pragma once

#include <memory>

#include "platform/log.h"

namespace vicinix {

// Debug lines to standard output, system lines to standard error as
// "vicinix: <line>". Each line is written whole and flushed. Any thread.
// Where a stream is the journal, lines carry their priority (debug, warning).
std::shared_ptr<Log> makeStandardStreamLog();

}  // namespace vicinix
