#pragma once

#include <nlohmann/json.hpp>

namespace vicinix::host {

// The stored state as JSON, by the settings' key strings and the records'
// own field names; dates in ISO 8601.
nlohmann::ordered_json settingsJson();
nlohmann::ordered_json eventsJson();
// Every campaign with its blocks in sortIndex order, each with its attributes.
nlohmann::ordered_json campaignsJson();
nlohmann::ordered_json beaconsJson();

}  // namespace vicinix::host
