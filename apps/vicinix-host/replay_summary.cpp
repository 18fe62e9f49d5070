#include "replay_summary.h"

#include <sstream>

namespace vicinix::host {

std::string replaySummary(const CaptureReplayCentral::Counts& counts) {
  std::ostringstream line;
  line << "replay: " << counts.records << " records, " << counts.advertisingReports
       << " advertising reports; Eddystone frames: " << counts.uidFrames << " UID, "
       << counts.eidFrames << " EID, " << counts.telemetryFrames << " TLM, " << counts.urlFrames
       << " URL, " << counts.unknownFrames << " unknown; " << counts.malformed
       << " advertising reports skipped as malformed; capture "
       << (counts.finished ? "finished" : "not finished");
  return line.str();
}

}  // namespace vicinix::host
