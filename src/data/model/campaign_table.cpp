#include "data/model/campaign_table.h"

#include "data/model/sql_values.h"

namespace vicinix {
namespace {

constexpr const char* kSelect =
    "SELECT id, notification_title, notification_text, notification_image_path, type, "
    "detail_url_path, list_image_path, list_title, list_text, is_active, in_app_event, cooldown, "
    "maximum_notifications_per_user, created, updated, notification_sent, notification_count "
    "FROM campaign ";

Campaign readCampaign(const SQLite::Statement& row) {
  return Campaign{
      .id = row.getColumn(0).getString(),
      .notificationTitle = row.getColumn(1).getString(),
      .notificationText = row.getColumn(2).getString(),
      .notificationImagePath = row.getColumn(3).getString(),
      .type = row.getColumn(4).getString(),
      .detailURLPath = row.getColumn(5).getString(),
      .listImagePath = row.getColumn(6).getString(),
      .listTitle = row.getColumn(7).getString(),
      .listText = row.getColumn(8).getString(),
      .isActive = row.getColumn(9).getInt64() != 0,
      .inAppEvent = row.getColumn(10).getString(),
      .cooldown = row.getColumn(11).getInt64(),
      .maximumNotificationsPerUser = row.getColumn(12).getInt64(),
      .created = fromMicroseconds(row.getColumn(13).getInt64()),
      .updated = optionalDate(row, 14),
      .notificationSent = optionalDate(row, 15),
      .notificationCount = row.getColumn(16).getInt64(),
  };
}

}  // namespace

void CampaignTable::addOrUpdate(const Campaign& campaign) {
  auto guard = database_.lock();
  auto& insert = database_.statement(
      "INSERT INTO campaign (id, notification_title, notification_text, notification_image_path, "
      "type, detail_url_path, list_image_path, list_title, list_text, is_active, in_app_event, "
      "cooldown, maximum_notifications_per_user, created, updated, notification_sent, "
      "notification_count) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17) "
      "ON CONFLICT (id) DO UPDATE SET notification_title = excluded.notification_title, "
      "notification_text = excluded.notification_text, "
      "notification_image_path = excluded.notification_image_path, type = excluded.type, "
      "detail_url_path = excluded.detail_url_path, list_image_path = excluded.list_image_path, "
      "list_title = excluded.list_title, list_text = excluded.list_text, "
      "is_active = excluded.is_active, in_app_event = excluded.in_app_event, "
      "cooldown = excluded.cooldown, "
      "maximum_notifications_per_user = excluded.maximum_notifications_per_user, "
      "created = excluded.created, updated = excluded.updated, "
      "notification_sent = excluded.notification_sent, "
      "notification_count = excluded.notification_count");
  insert.bind(1, campaign.id);
  insert.bind(2, campaign.notificationTitle);
  insert.bind(3, campaign.notificationText);
  insert.bind(4, campaign.notificationImagePath);
  insert.bind(5, campaign.type);
  insert.bind(6, campaign.detailURLPath);
  insert.bind(7, campaign.listImagePath);
  insert.bind(8, campaign.listTitle);
  insert.bind(9, campaign.listText);
  insert.bind(10, campaign.isActive ? 1 : 0);
  insert.bind(11, campaign.inAppEvent);
  insert.bind(12, campaign.cooldown);
  insert.bind(13, campaign.maximumNotificationsPerUser);
  insert.bind(14, toMicroseconds(campaign.created));
  bindOptional(insert, 15, campaign.updated);
  bindOptional(insert, 16, campaign.notificationSent);
  insert.bind(17, campaign.notificationCount);
  insert.exec();
}

std::optional<Campaign> CampaignTable::find(const std::string& id) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE id = ?1");
  query.bind(1, id);
  return readFirst(query, readCampaign);
}

std::vector<Campaign> CampaignTable::all() {
  auto guard = database_.lock();
  return readAll(database_.statement(std::string(kSelect) + "ORDER BY rowid"), readCampaign);
}

std::vector<Campaign> CampaignTable::allWithTypeOtherThan(const std::string& type) {
  auto guard = database_.lock();
  auto& query = database_.statement(std::string(kSelect) + "WHERE type <> ?1 ORDER BY rowid");
  query.bind(1, type);
  return readAll(query, readCampaign);
}

std::vector<std::string> CampaignTable::listedIds() {
  auto guard = database_.lock();
  // rowid breaks ties between campaigns created in the same microsecond, so
  // two reads of an unchanged store list them alike.
  auto& query = database_.statement(
      "SELECT id FROM campaign WHERE list_title <> '' AND list_text <> '' "
      "AND list_image_path <> '' AND type <> 'IN_APP_EVENT' ORDER BY created DESC, rowid");
  return readAll(query, [](SQLite::Statement& row) { return row.getColumn(0).getString(); });
}

void CampaignTable::remove(const std::string& id) {
  auto guard = database_.lock();
  auto& deletion = database_.statement("DELETE FROM campaign WHERE id = ?1");
  deletion.bind(1, id);
  deletion.exec();
}

int64_t CampaignTable::count() {
  auto guard = database_.lock();
  auto& query = database_.statement("SELECT count(*) FROM campaign");
  return readFirst(query, [](SQLite::Statement& row) { return row.getColumn(0).getInt64(); })
      .value_or(0);
}

}  // namespace vicinix
