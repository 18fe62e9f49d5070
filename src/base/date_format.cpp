#include "base/date_format.h"

#include <time.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vicinix {
namespace {

struct Split {
  time_t seconds;
  int millis;
};

Split split(Date date) {
  auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch()).count();
  long long seconds = millis / 1000;
  long long rest = millis % 1000;
  if (rest < 0) {
    rest += 1000;
    seconds -= 1;
  }
  return {static_cast<time_t>(seconds), static_cast<int>(rest)};
}

}  // namespace

std::string formatTimestamp(Date date) {
  Split parts = split(date);
  struct tm local {};
  localtime_r(&parts.seconds, &local);
  long offsetMinutes = local.tm_gmtoff / 60;
  char sign = offsetMinutes < 0 ? '-' : '+';
  offsetMinutes = std::labs(offsetMinutes);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02ld%02ld",
                local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                local.tm_sec, parts.millis, sign, offsetMinutes / 60, offsetMinutes % 60);
  return text;
}

std::string formatIso8601(Date date) {
  Split parts = split(date);
  struct tm utc {};
  gmtime_r(&parts.seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, parts.millis);
  return text;
}

bool isSameLocalDay(Date a, Date b) {
  time_t secondsA = split(a).seconds;
  time_t secondsB = split(b).seconds;
  struct tm localA {
  }, localB{};
  localtime_r(&secondsA, &localA);
  localtime_r(&secondsB, &localB);
  return localA.tm_year == localB.tm_year && localA.tm_yday == localB.tm_yday;
}

std::string formatSeconds(double seconds) {
  char buffer[64];
  double magnitude = std::abs(seconds);
  bool plain = magnitude == 0 || (magnitude >= 1e-4 && magnitude <= 0x1p54);
  auto format = plain ? std::chars_format::fixed : std::chars_format::general;
  auto end = std::to_chars(buffer, buffer + sizeof buffer, seconds, format).ptr;
  std::string text(buffer, end);
  if (std::isfinite(seconds) && text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::string describeDate(const std::optional<Date>& date) {
  if (!date) return "(null)";
  time_t seconds = std::chrono::system_clock::to_time_t(*date);
  struct tm utc {};
  gmtime_r(&seconds, &utc);
  char buffer[40];
  strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S +0000", &utc);
  return buffer;
}

}  // namespace vicinix
