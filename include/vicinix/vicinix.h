#pragma once

/// @file
/// The facade a host calls: start, lifecycle, background fetch, uploads and
/// the campaign detail screen.

#include <vicinix/export.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vicinix {

struct Campaign;
class VicinixDetailViewController;

/// The host's entry point to the SDK. Everything is class-level and acts on
/// the installed context (see LinuxHost); the host calls it on the main queue.
/// Called before a context is installed, each function prints one line on
/// standard error that says what to create first, and does nothing.
class VICINIX_EXPORT Vicinix {
 public:
  /// Settings key: set once the first start has recorded its installation event.
  static constexpr const char* firstStartDefaultsKey = "VicinixFirstStartDefaultsKey";
  /// Settings key: the protocol version of the SDK that started last.
  static constexpr const char* lastSDKVersionDefaultsKey = "VicinixLastSDKVersionDefaultsKey";

  /// Posted on NotificationCenter::defaultCenter() when Bluetooth scanning
  /// starts or stops; the object is a `bool`, true while scanning.
  static constexpr const char* bluetoothStatusChanged = "VicinixBluetoothStatusChangedNotification";
  /// Posted when the stored campaigns have been refreshed from the backend.
  static constexpr const char* campaignsUpdated = "VicinixCampaignsUpdatedNotification";
  /// Posted when a campaign picture has been downloaded.
  static constexpr const char* imageDownloaded = "VicinixImageDownloadedNotification";
  /// Posted when a sighted beacon brought campaigns. Hosts observe this exact spelling.
  static constexpr const char* campaignRecieved = "VicinixCampaignRecievedNotification";

  /// The work a background fetch waits for.
  enum class BackgroundFetchTask { configure, campaignUpdate, logEvents };

  /// Stores the key, configures, uploads what is stored and, unless the
  /// backend has disabled this SDK version, starts looking for beacons.
  static void start(const std::string& applicationKey);
  /// The key the last start stored; empty before any.
  static std::string applicationKey();

  /// Records that the host came to the foreground and refreshes the campaigns.
  static void applicationDidBecomeActive();
  /// Records that the host went to the background and uploads the events.
  /// It does not wait for the upload: LinuxHost::shutdown does.
  static void applicationDidEnterBackground();
  /// Configures, refreshes the campaigns and uploads the events. `completion`
  /// runs once, when all three have reported back (of this and any
  /// overlapping fetch).
  static void performBackgroundFetch(std::function<void()> completion);
  /// Uploads every stored event; `completion` runs once per batch reply, at
  /// once when there is nothing, never without a database.
  static void logEvents(std::function<void()> completion);

  /// Presents the stored campaign's detail screen on the host's topmost
  /// screen and records that it was opened from a notification.
  static void openCampaignDetailInModal(const std::string& campaignID);
  /// The screen for the campaign's type; null for a type without one.
  static std::shared_ptr<VicinixDetailViewController> makeCampaignDetailViewController(
      const Campaign& campaign);

  /// Turns the SDK's diagnostic lines on standard output on or off.
  static void setDebugging(bool debugging);
  /// Whether diagnostic lines are printed.
  static bool isDebugging();
  /// Prints `line` while debugging is on.
  static void debug(std::string_view line);

  /// `<app-data>/Documents`, where the theme and pictures are kept.
  static std::filesystem::path documentsDirectoryURL();
  /// `<app-data>/Library/Vicinix`, where the database lives.
  static std::filesystem::path vicinixDirectoryURL();

 private:
  class Instance;

  static void firstStartSetup();
  static void resolveBackgroundFetch(BackgroundFetchTask task,
                                     const std::function<void()>& completion);
};

/// The case name, as "Remaining tasks: " lines show it.
VICINIX_EXPORT std::string_view toString(Vicinix::BackgroundFetchTask task);

}  // namespace vicinix
