#include "beacons/beacon_manager.h"

#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

#include <any>

#include "base/sdk.h"
#include "base/uuid.h"
#include "campaigns/campaign_manager.h"
#include "core/vicinix_configurator.h"
#include "data/model/beacon_factory.h"
#include "network/graphql_client.h"

namespace vicinix {

// Forwards to the manager. The scanner keeps its delegate alive, and the
// manager owns the scanner, so the delegate must not own the manager back.
class BeaconManager::ScannerDelegate final : public BeaconScannerDelegate {
 public:
  explicit ScannerDelegate(BeaconManager& manager) : manager_(manager) {}
  void didFindBeacon(BeaconScanner&, const BeaconInfo& beaconInfo) override {
    manager_.didFindBeacon(beaconInfo);
  }
  void didLoseBeacon(BeaconScanner&, const BeaconInfo& beaconInfo) override {
    manager_.didLoseBeacon(beaconInfo);
  }
  void didUpdateBeacon(BeaconScanner&, const BeaconInfo&) override {}
  void didObserveURLBeacon(BeaconScanner&, const Url&, int) override {}

 private:
  BeaconManager& manager_;
};

BeaconManager::BeaconManager(Sdk& sdk)
    : sdk_(sdk), beaconScanner_(std::make_unique<BeaconScanner>()) {
  setup();
}

// The scanner goes first: once it is gone no report can reach this manager.
BeaconManager::~BeaconManager() {
  beaconScanner_.reset();
}

BeaconManager& BeaconManager::shared() {
  return Sdk::current().shared<BeaconManager>();
}

void BeaconManager::setup() {
  LocationService& location = sdk_.location();
  location.requestAlwaysAuthorization();
  location.setAllowsBackgroundLocationUpdates(true);
  beaconScanner_->setDelegate(std::make_shared<ScannerDelegate>(*this));
  NotificationCenter::defaultCenter().addObserver(
      Vicinix::bluetoothStatusChanged, [](const NotificationCenter::Notification& notification) {
        const bool* on = std::any_cast<bool>(&notification.object);
        if (on == nullptr) return;
        Sdk::current().mainQueue().async([on = *on] {
          VicinixConfigurator::setBluetoothOn(on);
          Sdk::current().defaults().synchronize();
        });
      });
}

void BeaconManager::startRangingIBeacons() {
  if (!sdk_.location().rangingAvailable()) return;
  for (const std::string& text : VicinixConfigurator::allowediBeacons()) {
    sdk_.debug("Ranging for iBeacon: " + text);
    auto uuid = parseUuid(text);
    // The list comes from the backend: a bad entry costs that region, not the host.
    if (!uuid) {
      sdk_.debug("Skipping iBeacon region with an invalid UUID: " + text);
      continue;
    }
    BeaconRegion region{*uuid, text};
    sdk_.location().startMonitoring(region);
    sdk_.location().startRangingBeacons(region);
  }
}

void BeaconManager::stopRangingIBeacons() {
  for (const std::string& text : VicinixConfigurator::allowediBeacons()) {
    auto uuid = parseUuid(text);
    if (!uuid) continue;
    BeaconRegion region{*uuid, text};
    sdk_.location().stopMonitoring(region);
    sdk_.location().stopRangingBeacons(region);
  }
}

void BeaconManager::didFindBeacon(const BeaconInfo& beaconInfo) {
  handle(beaconInfo);
}

void BeaconManager::didLoseBeacon(const BeaconInfo& beaconInfo) {
  if (!sdk_.debugging()) return;
  sdk_.debug("LOST Namespace: " + beaconInfo.beaconID().nameSpace() +
             ", Instance: " + beaconInfo.beaconID().instance());
}

void BeaconManager::handle(const BeaconInfo& beaconInfo) {
  sdk_.mainQueue().async([beaconInfo] {
    BeaconManager& manager = BeaconManager::shared();
    Sdk& sdk = manager.sdk_;
    if (VicinixConfigurator::requiredSDKVersion() >= 1) {
      manager.stopRangingIBeacons();
      manager.beaconScanner_->centralManager().stopScan();
      return;
    }
    const BeaconID& id = beaconInfo.beaconID();
    // An EID identifier has no namespace the backend could know.
    if (id.beaconType() == BeaconID::BeaconType::EddystoneEID) {
      sdk.debug("Find unsupported beacon: (" + beaconInfo.description() + ")");
      return;
    }
    std::string namespace_ = id.nameSpace();
    for (const std::string& allowed : VicinixConfigurator::allowedNamespaces()) {
      if (allowed == namespace_) {
        manager.updateBeaconNotifications(namespace_, id.instance());
        return;
      }
    }
    sdk.debug("Find unsupported beacon: (" + beaconInfo.description() + ")");
  });
}

void BeaconManager::updateBeaconNotifications(const std::string& namespace_,
                                              const std::string& instance) {
  auto beacon = BeaconFactory::shared().findBeacon(namespace_, instance, true);
  if (!beacon || !beacon->isAllowedToUpdate()) return;
  if (sdk_.debugging()) sdk_.debug("FIND " + beacon->description());
  GraphQLClient().notification(*beacon, [beacon = *beacon](std::optional<JsonValue> reply) {
    Sdk& sdk = Sdk::current();
    JsonValue campaigns = reply ? (*reply)["data"]["sdkFetchPullNotifications"] : JsonValue();
    if (!campaigns.isArray()) {
      // The whole reply is printed: only build that text for someone reading it.
      if (sdk.debugging()) {
        sdk.debug("Campaign Error: " +
                  (reply && !reply->isNull() ? reply->raw().dump() : "unknown"));
      }
      return;
    }
    sdk.mainQueue().async([campaigns = campaigns.array(), beacon] {
      CampaignManager::notifyCampaigns(campaigns, beacon);
    });
  });
}

}  // namespace vicinix
