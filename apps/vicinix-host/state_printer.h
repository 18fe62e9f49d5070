#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "data/model/database.h"

namespace vicinix::host {

// The stored state as JSON, by the settings' key strings and the records'
// own field names; dates in ISO 8601. The records' readers throw what the
// database throws.
nlohmann::ordered_json settingsJson();
nlohmann::ordered_json eventsJson(Database& database);
// Every campaign with its blocks in sortIndex order, each with its attributes.
nlohmann::ordered_json campaignsJson(Database& database);
nlohmann::ordered_json beaconsJson(Database& database);

// `json` indented for the terminal. Stored text that is not UTF-8 (an older
// record, a hand-edited database) prints with U+FFFD in place of the bad
// bytes instead of stopping the command.
std::string printable(const nlohmann::ordered_json& json);

}  // namespace vicinix::host
