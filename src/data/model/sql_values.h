#pragma once

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"

namespace vicinix {

// How record fields travel to and from SQLite: dates as whole microseconds
// since the Unix epoch, absent optionals as NULL.
int64_t toMicroseconds(Date date);
Date fromMicroseconds(int64_t microseconds);

void bindOptional(SQLite::Statement& statement, int index, const std::optional<std::string>& text);
void bindOptional(SQLite::Statement& statement, int index, const std::optional<Date>& date);
std::optional<std::string> optionalText(const SQLite::Statement& row, int index);
std::optional<Date> optionalDate(const SQLite::Statement& row, int index);

// Steps `query` to the end. A finished statement holds no read snapshot, so the
// connection keeps seeing other connections' commits.
template <class Read>
auto readAll(SQLite::Statement& query, Read read) {
  std::vector<decltype(read(query))> rows;
  while (query.executeStep()) rows.push_back(read(query));
  return rows;
}

// The first row only; the statement is reset at once for the same reason.
template <class Read>
auto readFirst(SQLite::Statement& query, Read read) -> std::optional<decltype(read(query))> {
  if (!query.executeStep()) return std::nullopt;
  auto row = read(query);
  query.tryReset();
  return row;
}

}  // namespace vicinix
