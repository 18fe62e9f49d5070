#include "data/model/event_table.h"

#include "data/model/sql_values.h"

namespace vicinix {
namespace {

Event readEvent(const SQLite::Statement& row) {
  return Event{
      .id = row.getColumn(0).getString(),
      .type = row.getColumn(1).getString(),
      .created = fromMicroseconds(row.getColumn(2).getInt64()),
      .timestamp = row.getColumn(3).getString(),
      .campaignId = optionalText(row, 4),
      .beaconNamespace = optionalText(row, 5),
      .beaconInstance = optionalText(row, 6),
      .hasBluetoothTurnedOn = row.getColumn(7).getInt64() != 0,
      .hasInternetConnection = row.getColumn(8).getInt64() != 0,
      .hasLocationPermission = row.getColumn(9).getInt64() != 0,
      .hasNotificationPermission = row.getColumn(10).getInt64() != 0,
  };
}

}  // namespace

void EventTable::add(const Event& event) {
  auto guard = database_.lock();
  auto& insert = database_.statement(
      "INSERT INTO event (id, type, created, timestamp, campaign_id, beacon_namespace, "
      "beacon_instance, has_bluetooth_turned_on, has_internet_connection, "
      "has_location_permission, has_notification_permission) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)");
  insert.bind(1, event.id);
  insert.bind(2, event.type);
  insert.bind(3, toMicroseconds(event.created));
  insert.bind(4, event.timestamp);
  bindOptional(insert, 5, event.campaignId);
  bindOptional(insert, 6, event.beaconNamespace);
  bindOptional(insert, 7, event.beaconInstance);
  insert.bind(8, event.hasBluetoothTurnedOn ? 1 : 0);
  insert.bind(9, event.hasInternetConnection ? 1 : 0);
  insert.bind(10, event.hasLocationPermission ? 1 : 0);
  insert.bind(11, event.hasNotificationPermission ? 1 : 0);
  insert.exec();
}

std::vector<Event> EventTable::all() {
  auto guard = database_.lock();
  return readAll(
      database_.statement(
          "SELECT id, type, created, timestamp, campaign_id, beacon_namespace, beacon_instance, "
          "has_bluetooth_turned_on, has_internet_connection, has_location_permission, "
          "has_notification_permission FROM event ORDER BY rowid"),
      readEvent);
}

void EventTable::removeAll() {
  auto guard = database_.lock();
  database_.statement("DELETE FROM event").exec();
}

void EventTable::remove(const std::vector<std::string>& ids) {
  auto guard = database_.lock();
  for (const std::string& id : ids) {
    auto& remove = database_.statement("DELETE FROM event WHERE id = ?1");
    remove.bind(1, id);
    remove.exec();
  }
}

int64_t EventTable::count() {
  auto guard = database_.lock();
  auto& query = database_.statement("SELECT count(*) FROM event");
  return readFirst(query, [](SQLite::Statement& row) { return row.getColumn(0).getInt64(); })
      .value_or(0);
}

}  // namespace vicinix
