#pragma once

#include <nlohmann/json.hpp>

namespace vicinix::host {

// The stored state as JSON, by the settings' key strings and the records'
// own field names; dates in ISO 8601.
nlohmann::ordered_json settingsJson();
nlohmann::ordered_json eventsJson();

}  // namespace vicinix::host
