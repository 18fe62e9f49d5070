#pragma once

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

namespace vicinix::test {

// Puts the process in time zone `zone` (an Olson name) for the object's
// lifetime, so a test about local days and offsets reads the same wherever
// and however it runs.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* current = getenv("TZ")) previous_ = current;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (previous_) {
      setenv("TZ", previous_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> previous_;
};

}  // namespace vicinix::test
