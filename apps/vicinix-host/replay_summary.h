#pragma once

#include <string>

#include "platform/linux/capture/capture_replay_central.h"

namespace vicinix::host {

// The one line `replay` and `run --source replay:FILE` end with, in the same
// words, so that a script reads either: "replay: 697 records, ...".
std::string replaySummary(const CaptureReplayCentral::Counts& counts);

}  // namespace vicinix::host
