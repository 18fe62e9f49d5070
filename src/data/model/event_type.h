#pragma once

#include <optional>
#include <string_view>

namespace vicinix {

// The kinds of analytics event; the raw values are the backend's enum values.
enum class EventType {
  newInstallation,
  campaignDetailFromNotification,
  campaignDetailFromList,
  notification,
  list,
  appStarted,
  appClosed,
};

std::string_view rawValue(EventType type);
// Nothing for a string that is not one of the seven raw values.
std::optional<EventType> eventTypeFromRawValue(std::string_view raw);

}  // namespace vicinix
