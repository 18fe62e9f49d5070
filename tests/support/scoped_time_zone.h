#pragma once

#include <stdlib.h>
#include <time.h>

#include <string>

namespace vicinix::test {

// The process's local time zone is `zone` (an Olson name) for the object's
// lifetime, so a test of local days and offsets reads the same in any zone.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone)
      : had_(getenv("TZ") != nullptr), previous_(had_ ? getenv("TZ") : "") {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    had_ ? setenv("TZ", previous_.c_str(), 1) : unsetenv("TZ");
    tzset();
  }

 private:
  bool had_;
  std::string previous_;
};

}  // namespace vicinix::test
