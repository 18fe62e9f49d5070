#include "campaigns/vicinix_notification_client.h"

#include <fstream>
#include <system_error>

#include "base/sdk.h"
#include "base/uuid.h"
#include "campaigns/image_downloader.h"
#include "core/vicinix.h"
#include "core/vicinix_configurator.h"
#include "data/model/cache_file_name.h"

namespace vicinix {
namespace {

constexpr const char* kImageError = "Error while getting notification image data.";
constexpr double kTriggerDelay = 0.5;
constexpr double kAttachmentQuality = 0.8;

}  // namespace

VicinixNotificationClient::Place::Place(std::shared_ptr<std::atomic<int64_t>> held)
    : held_(std::move(held)) {
  held_->fetch_add(1);
}

bool VicinixNotificationClient::Place::release() {
  if (released_.exchange(true)) return false;
  held_->fetch_sub(1);
  return true;
}

VicinixNotificationClient::VicinixNotificationClient(Sdk& sdk) : sdk_(sdk) {}

VicinixNotificationClient& VicinixNotificationClient::shared() {
  return Sdk::current().shared<VicinixNotificationClient>();
}

void VicinixNotificationClient::scheduleNotification(const Campaign& campaign) {
  // Campaigns of one beacon come 50 ms apart, well before the pictures and
  // the centre's answers of the earlier ones: those count already.
  if (VicinixConfigurator::reachedNotificationLimit(notYetCounted_->load())) {
    sdk_.debug("Notification limit reached");
    return;
  }
  if (campaign.notificationTitle.empty() && campaign.notificationText.empty()) {
    sdk_.debug("Error: Missing Notification Title and Message, (" + campaign.listTitle + ", " +
               campaign.id + ")");
    return;
  }
  sdk_.debug("Scheduling notification for \"" + campaign.notificationTitle + "\"");

  NotificationRequest request{
      .identifier = identifierPrefix + campaign.id,
      .content = {.title = campaign.notificationTitle,
                  .body = campaign.notificationText,
                  .defaultSound = true,
                  .userInfo = {{campaignIDKey, campaign.id}},
                  .attachments = {}},
      .triggerDelay = kTriggerDelay,
  };
  auto place = std::make_shared<Place>(notYetCounted_);
  if (campaign.notificationImagePath.empty()) {
    add(std::move(request), std::move(place));
    return;
  }
  std::string imageName = campaign.notificationImageName();
  // A cached picture completes at once and again after the refresh; the
  // second request replaces the first, which is still pending by then.
  ImageDownloader::shared().downloadImage(
      campaign.notificationImagePath, imageName,
      [this, request, imageName, place](std::optional<Image> picture) {
        std::optional<std::vector<uint8_t>> jpeg;
        if (picture) jpeg = sdk_.images().encodeJPEG(*picture, kAttachmentQuality);
        auto attachment = jpeg ? createImageAttachment(imageName, *jpeg) : std::nullopt;
        if (!attachment) {
          sdk_.debug(kImageError);
          return;
        }
        NotificationRequest withPicture = request;
        withPicture.content.attachments = {*attachment};
        add(std::move(withPicture), place);
      });
}

// A cached picture adds the request twice; the place makes it count once.
void VicinixNotificationClient::add(NotificationRequest request, std::shared_ptr<Place> place) {
  sdk_.notifications().add(request, [place = std::move(place)](std::optional<std::string> error) {
    if (error) {
      Sdk::current().debug(*error);
      return;
    }
    // Counted and let go in one main-queue task, so no limit check runs
    // between the two and sees neither.
    Sdk::current().mainQueue().async([place] {
      if (place->release()) VicinixNotificationClient::shared().countNotification();
    });
  });
}

void VicinixNotificationClient::completeNotification() {
  sdk_.mainQueue().async([] { VicinixNotificationClient::shared().countNotification(); });
}

void VicinixNotificationClient::countNotification() {
  if (VicinixConfigurator::useAppBadges()) {
    sdk_.application().setApplicationIconBadgeNumber(
        sdk_.application().applicationIconBadgeNumber() + 1);
  }
  VicinixConfigurator::increaseNotificationCount();
  sdk_.defaults().synchronize();
}

std::optional<NotificationAttachment> VicinixNotificationClient::createImageAttachment(
    const std::string& identifier, const std::vector<uint8_t>& data) {
  std::error_code error;
  // The centre's own place: it removes the picture once it is shown.
  std::filesystem::path base = sdk_.notifications().attachmentDirectory();
  std::filesystem::path directory = base / ("vicinix-" + makeUuidString());
  std::string reason;
  if (!isSafeFileName(identifier)) {
    reason = "unusable attachment name " + identifier;
  } else if (base.empty()) {
    reason = "no place for notification pictures";
  } else if (!std::filesystem::create_directories(directory, error)) {
    reason = error ? error.message() : "cannot create " + directory.string();
  } else {
    std::ofstream file(directory / identifier, std::ios::binary);
    file.write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
    file.close();
    if (!file) {
      reason = "cannot write " + (directory / identifier).string();
    } else if (auto attachment = sdk_.notifications().makeAttachment(
                   identifier, directory / identifier, reason)) {
      return attachment;
    }
  }
  sdk_.debug("Error: " + reason);
  return std::nullopt;
}

void VicinixNotificationClient::notificationTapped(const NotificationResponse& response) {
  const auto& userInfo = response.request.content.userInfo;
  auto found = userInfo.find(campaignIDKey);
  if (found == userInfo.end()) return;
  Vicinix::openCampaignDetailInModal(found->second);
}

void VicinixNotificationClient::checkNotificationSettings() {
  sdk_.notifications().getNotificationSettings([](NotificationAuthorizationStatus status) {
    // Answers may come from the notification service's thread.
    Sdk::current().mainQueue().async([status] {
      VicinixConfigurator::setNotificationAllowed(status ==
                                                  NotificationAuthorizationStatus::authorized);
    });
  });
}

void VicinixNotificationClient::requestNotificationAuthorization() {
  int options = notificationBadge | notificationSound | notificationAlert;
  sdk_.notifications().requestAuthorization(options, [](bool granted) {
    Sdk::current().mainQueue().async([granted] {
      VicinixConfigurator::setNotificationAllowed(granted);
      Sdk::current().defaults().synchronize();
    });
  });
}

}  // namespace vicinix
