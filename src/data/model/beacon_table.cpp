#include "data/model/beacon_table.h"

#include "data/model/sql_values.h"

namespace vicinix {
namespace {

constexpr const char* kSelect = "SELECT id, namespace, instance, created, updated FROM beacon ";

Beacon readBeacon(const SQLite::Statement& row) {
  return Beacon{
      .id = row.getColumn(0).getString(),
      .namespace_ = row.getColumn(1).getString(),
      .instance = row.getColumn(2).getString(),
      .created = fromMicroseconds(row.getColumn(3).getInt64()),
      .updated = optionalDate(row, 4),
  };
}

}  // namespace

void BeaconTable::addOrUpdate(const Beacon& beacon) {
  auto guard = database_.lock();
  auto& insert = database_.statement(
      "INSERT INTO beacon (id, namespace, instance, created, updated) VALUES (?1, ?2, ?3, ?4, ?5) "
      "ON CONFLICT (id) DO UPDATE SET namespace = excluded.namespace, "
      "instance = excluded.instance, created = excluded.created, updated = excluded.updated");
  insert.bind(1, beacon.id);
  insert.bind(2, beacon.namespace_);
  insert.bind(3, beacon.instance);
  insert.bind(4, toMicroseconds(beacon.created));
  bindOptional(insert, 5, beacon.updated);
  insert.exec();
}

std::optional<Beacon> BeaconTable::find(const std::string& id) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE id = ?1");
  query.bind(1, id);
  return readFirst(query, readBeacon);
}

std::optional<Beacon> BeaconTable::first(const std::string& namespace_,
                                         const std::string& instance) {
  auto guard = database_.lock();
  auto& query = database_.statement(
      std::string(kSelect) + "WHERE namespace = ?1 AND instance = ?2 ORDER BY rowid LIMIT 1");
  query.bind(1, namespace_);
  query.bind(2, instance);
  return readFirst(query, readBeacon);
}

std::vector<Beacon> BeaconTable::all() {
  auto guard = database_.lock();
  return readAll(database_.statement(std::string(kSelect) + "ORDER BY rowid"), readBeacon);
}

void BeaconTable::remove(const std::string& id) {
  auto guard = database_.lock();
  auto& deletion = database_.statement("DELETE FROM beacon WHERE id = ?1");
  deletion.bind(1, id);
  deletion.exec();
}

}  // namespace vicinix
