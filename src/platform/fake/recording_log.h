#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/log.h"

namespace vicinix {

// Keeps every line so a test can read what the SDK printed.
class RecordingLog final : public Log {
 public:
  void debugLine(std::string_view line) override;
  void systemLine(std::string_view line) override;

  std::vector<std::string> debugLines() const;
  std::vector<std::string> systemLines() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> debug_;
  std::vector<std::string> system_;
};

}  // namespace vicinix
