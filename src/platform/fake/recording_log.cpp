#include "platform/fake/recording_log.h"

namespace vicinix {

void RecordingLog::debugLine(std::string_view line) {
  std::lock_guard lock(mutex_);
  debug_.emplace_back(line);
}

void RecordingLog::systemLine(std::string_view line) {
  std::lock_guard lock(mutex_);
  system_.emplace_back(line);
}

std::vector<std::string> RecordingLog::debugLines() const {
  std::lock_guard lock(mutex_);
  return debug_;
}

std::vector<std::string> RecordingLog::systemLines() const {
  std::lock_guard lock(mutex_);
  return system_;
}

void RecordingLog::clear() {
  std::lock_guard lock(mutex_);
  debug_.clear();
  system_.clear();
}

}  // namespace vicinix
