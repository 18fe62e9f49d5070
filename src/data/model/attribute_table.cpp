#include "data/model/attribute_table.h"

#include "data/model/sql_values.h"

namespace vicinix {
namespace {

constexpr const char* kSelect = R"(SELECT id, "key", value, sort_index, block FROM attribute )";

Attribute readAttribute(const SQLite::Statement& row) {
  return Attribute{
      .id = row.getColumn(0).getString(),
      .key = row.getColumn(1).getString(),
      .value = row.getColumn(2).getString(),
      .sortIndex = row.getColumn(3).getInt64(),
      .block = optionalText(row, 4),
  };
}

}  // namespace

void AttributeTable::addOrUpdate(const Attribute& attribute) {
  auto guard = database_.lock();
  auto& insert = database_.statement(
      R"(INSERT INTO attribute (id, "key", value, sort_index, block) VALUES (?1, ?2, ?3, ?4, ?5) )"
      R"(ON CONFLICT (id) DO UPDATE SET "key" = excluded."key", value = excluded.value, )"
      R"(sort_index = excluded.sort_index, block = excluded.block)");
  insert.bind(1, attribute.id);
  insert.bind(2, attribute.key);
  insert.bind(3, attribute.value);
  insert.bind(4, attribute.sortIndex);
  bindOptional(insert, 5, attribute.block);
  insert.exec();
}

std::optional<Attribute> AttributeTable::find(const std::string& id) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE id = ?1");
  query.bind(1, id);
  return readFirst(query, readAttribute);
}

std::vector<Attribute> AttributeTable::attributesOf(const std::string& blockId) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE block = ?1 ORDER BY rowid");
  query.bind(1, blockId);
  return readAll(query, readAttribute);
}

std::vector<Attribute> AttributeTable::all() {
  auto guard = database_.lock();
  return readAll(database_.statement(std::string(kSelect) + "ORDER BY rowid"), readAttribute);
}

void AttributeTable::remove(const std::string& id) {
  auto guard = database_.lock();
  auto& deletion = database_.statement("DELETE FROM attribute WHERE id = ?1");
  deletion.bind(1, id);
  deletion.exec();
}

}  // namespace vicinix
