#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "data/model/campaign.h"

namespace vicinix {

class VicinixDetailViewController;

// The host's entry point to the SDK. Everything is class-level and acts on the
// installed context; the host calls it on the main queue.
class Vicinix {
 public:
  static constexpr const char* firstStartDefaultsKey = "VicinixFirstStartDefaultsKey";
  static constexpr const char* lastSDKVersionDefaultsKey = "VicinixLastSDKVersionDefaultsKey";

  // In-process notifications the SDK posts on NotificationCenter::defaultCenter().
  static constexpr const char* bluetoothStatusChanged = "VicinixBluetoothStatusChangedNotification";
  static constexpr const char* campaignsUpdated = "VicinixCampaignsUpdatedNotification";
  static constexpr const char* imageDownloaded = "VicinixImageDownloadedNotification";
  // Hosts observe this exact spelling.
  static constexpr const char* campaignRecieved = "VicinixCampaignRecievedNotification";

  // The work a background fetch waits for.
  enum class BackgroundFetchTask { configure, campaignUpdate, logEvents };

  // Stores the key, configures, uploads what is stored and, unless the
  // backend has disabled this SDK version, starts looking for beacons.
  static void start(const std::string& applicationKey);
  static std::string applicationKey();

  static void applicationDidBecomeActive();
  static void applicationDidEnterBackground();
  // `completion` runs once, when configuration, campaign refresh and upload
  // have all reported back (of this and any overlapping fetch).
  static void performBackgroundFetch(std::function<void()> completion);
  // Uploads every stored event; `completion` runs once per batch reply, at
  // once when there is nothing, never without a database.
  static void logEvents(std::function<void()> completion);

  // Presents the stored campaign's detail screen on the host's topmost screen
  // and records that it was opened from a notification.
  static void openCampaignDetailInModal(const std::string& campaignID);
  // The screen for the campaign's type; null for a type without one.
  static std::shared_ptr<VicinixDetailViewController> makeCampaignDetailViewController(
      const Campaign& campaign);

  // Turns the SDK's diagnostic lines on standard output on or off.
  static void setDebugging(bool debugging);
  static bool isDebugging();
  // Prints `line` while debugging is on.
  static void debug(std::string_view line);

  static std::filesystem::path documentsDirectoryURL();
  static std::filesystem::path vicinixDirectoryURL();

 private:
  class Instance;

  static void firstStartSetup();
  static void resolveBackgroundFetch(BackgroundFetchTask task,
                                     const std::function<void()>& completion);
};

// The case name, as "Remaining tasks: " lines show it.
std::string_view toString(Vicinix::BackgroundFetchTask task);

}  // namespace vicinix
