#include "data/model/sql_values.h"

namespace vicinix {

int64_t toMicroseconds(Date date) {
  // floor, not truncation, so dates before 1970 do not drift a microsecond forward
  return std::chrono::floor<std::chrono::microseconds>(date.time_since_epoch()).count();
}

Date fromMicroseconds(int64_t microseconds) {
  return Date(std::chrono::microseconds(microseconds));
}

void bindOptional(SQLite::Statement& statement, int index, const std::optional<std::string>& text) {
  if (text) {
    statement.bind(index, *text);
  } else {
    statement.bind(index);
  }
}

void bindOptional(SQLite::Statement& statement, int index, const std::optional<Date>& date) {
  if (date) {
    statement.bind(index, toMicroseconds(*date));
  } else {
    statement.bind(index);
  }
}

std::optional<std::string> optionalText(const SQLite::Statement& row, int index) {
  if (row.isColumnNull(index)) return std::nullopt;
  return row.getColumn(index).getString();
}

std::optional<Date> optionalDate(const SQLite::Statement& row, int index) {
  if (row.isColumnNull(index)) return std::nullopt;
  return fromMicroseconds(row.getColumn(index).getInt64());
}

}  // namespace vicinix
