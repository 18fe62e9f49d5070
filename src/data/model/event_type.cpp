#include "data/model/event_type.h"

#include <array>
#include <utility>

namespace vicinix {
namespace {

constexpr std::array<std::pair<EventType, std::string_view>, 7> kRawValues{{
    {EventType::newInstallation, "NEW_INSTALLATION"},
    {EventType::campaignDetailFromNotification, "CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION"},
    {EventType::campaignDetailFromList, "CAMPAIGN_DETAIL_FROM_CAMPAIGNS_LIST"},
    {EventType::notification, "PULL_NOTIFICATION"},
    {EventType::list, "CAMPAIGNS_LIST"},
    {EventType::appStarted, "APP_STARTED"},
    {EventType::appClosed, "APP_CLOSED"},
}};

}  // namespace

std::string_view rawValue(EventType type) {
  for (const auto& [candidate, raw] : kRawValues) {
    if (candidate == type) return raw;
  }
  return {};
}

std::optional<EventType> eventTypeFromRawValue(std::string_view raw) {
  for (const auto& [type, candidate] : kRawValues) {
    if (candidate == raw) return type;
  }
  return std::nullopt;
}

}  // namespace vicinix
