#include "data/model/campaign.h"

#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

#include "base/date_format.h"
#include "base/sdk.h"
#include "campaigns/image_downloader.h"
#include "campaigns/list_image_cache.h"
#include "core/vicinix_configurator.h"
#include "data/model/cache_file_name.h"

namespace vicinix {
namespace {

constexpr int64_t kDefaultExpirationSeconds = 3600;

double secondsSince(Sdk& sdk, Date date) {
  return std::chrono::duration<double>(sdk.clock().now() - date).count();
}

}  // namespace

std::string Campaign::notificationImageName() const {
  return cacheFileName(notificationImagePath, id + "_notification.jpg");
}

std::string Campaign::listImageName() const {
  return cacheFileName(listImagePath, id + "_list.jpg");
}

std::optional<Image> Campaign::listImage() const {
  const std::string name = listImageName();
  if (auto cached = ListImageCache::shared().image(name)) return cached;
  // Only a picture that arrived is announced: the list reloads on the
  // announcement and asks again, so announcing a refusal would loop.
  ImageDownloader::shared().downloadImage(
      listImagePath, name, [name](std::optional<Image> picture) {
        if (!picture) return;
        ListImageCache::shared().insert(name, *picture);
        NotificationCenter::defaultCenter().post(Vicinix::imageDownloaded);
      });
  return std::nullopt;
}

bool Campaign::needsUpdate() const {
  if (!updated) return true;
  Sdk& sdk = Sdk::current();
  int64_t limit = VicinixConfigurator::campaignExpiration();
  if (limit == 0) limit = kDefaultExpirationSeconds;
  double age = secondsSince(sdk, *updated);
  if (sdk.debugging()) sdk.debug("Last campaign update: " + formatSeconds(age));
  return age > static_cast<double>(limit);
}

bool Campaign::shouldNotify() const {
  if (!notificationSent) return true;
  Sdk& sdk = Sdk::current();
  if (maximumNotificationsPerUser != 0 && maximumNotificationsPerUser < notificationCount) {
    sdk.debug("Maximum notifications per user reached, " + id);
    return false;
  }
  double elapsed = secondsSince(sdk, *notificationSent);
  if (sdk.debugging()) sdk.debug("Last campaign notification: " + formatSeconds(elapsed));
  return elapsed > static_cast<double>(cooldown);
}

std::string Campaign::description() const {
  std::string text = "Campaign {\n";
  auto field = [&text](std::string_view name, const std::string& value) {
    text.append("\t").append(name).append(" = ").append(value).append(";\n");
  };
  field("id", id);
  field("notificationTitle", notificationTitle);
  field("notificationText", notificationText);
  field("notificationImagePath", notificationImagePath);
  field("type", type);
  field("detailURLPath", detailURLPath);
  field("listImagePath", listImagePath);
  field("listTitle", listTitle);
  field("listText", listText);
  field("isActive", isActive ? "1" : "0");
  field("inAppEvent", inAppEvent);
  field("cooldown", std::to_string(cooldown));
  field("maximumNotificationsPerUser", std::to_string(maximumNotificationsPerUser));
  field("created", describeDate(created));
  field("updated", describeDate(updated));
  field("notificationSent", describeDate(notificationSent));
  field("notificationCount", std::to_string(notificationCount));
  return text + "}";
}

}  // namespace vicinix
