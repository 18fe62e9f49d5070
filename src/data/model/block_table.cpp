#include "data/model/block_table.h"

#include "data/model/sql_values.h"

namespace vicinix {
namespace {

constexpr const char* kSelect = "SELECT id, type, sort_index, campaign FROM block ";

Block readBlock(const SQLite::Statement& row) {
  return Block{
      .id = row.getColumn(0).getString(),
      .type = row.getColumn(1).getString(),
      .sortIndex = row.getColumn(2).getInt64(),
      .campaign = optionalText(row, 3),
  };
}

}  // namespace

void BlockTable::addOrUpdate(const Block& block) {
  auto guard = database_.lock();
  auto& insert = database_.statement(
      "INSERT INTO block (id, type, sort_index, campaign) VALUES (?1, ?2, ?3, ?4) "
      "ON CONFLICT (id) DO UPDATE SET type = excluded.type, sort_index = excluded.sort_index, "
      "campaign = excluded.campaign");
  insert.bind(1, block.id);
  insert.bind(2, block.type);
  insert.bind(3, block.sortIndex);
  bindOptional(insert, 4, block.campaign);
  insert.exec();
}

std::optional<Block> BlockTable::find(const std::string& id) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE id = ?1");
  query.bind(1, id);
  return readFirst(query, readBlock);
}

std::vector<Block> BlockTable::blocksOf(const std::string& campaignId) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE campaign = ?1 ORDER BY rowid");
  query.bind(1, campaignId);
  return readAll(query, readBlock);
}

std::vector<Block> BlockTable::all() {
  auto guard = database_.lock();
  return readAll(database_.statement(std::string(kSelect) + "ORDER BY rowid"), readBlock);
}

void BlockTable::remove(const std::string& id) {
  auto guard = database_.lock();
  auto& deletion = database_.statement("DELETE FROM block WHERE id = ?1");
  deletion.bind(1, id);
  deletion.exec();
}

}  // namespace vicinix
