#pragma once

#include <optional>
#include <string>

#include "platform/clock.h"

namespace vicinix {

// "yyyy-MM-dd'T'HH:mm:ss.SSSZ" in the local time zone, the backend's event
// time format: 2024-03-01T09:15:02.517+0100.
std::string formatTimestamp(Date date);
// ISO 8601 in UTC with milliseconds: 2024-03-01T08:15:02.517Z.
std::string formatIso8601(Date date);
// Whether both dates fall on the same calendar day in the local time zone.
bool isSameLocalDay(Date a, Date b);
// Seconds as the debug lines show them: shortest round-trip digits, at least
// one decimal ("3599.0"), an exponent only for the very small or large.
std::string formatSeconds(double seconds);
// A record's field as debug lines show it: "2024-03-01 08:15:02 +0000", or
// "(null)" when absent.
std::string describeDate(const std::optional<Date>& date);

}  // namespace vicinix
