#include "platform/fake/exchange_driver.h"

#include "beacons/beacon_manager.h"
#include "campaigns/campaign_manager.h"
#include "core/vicinix_configurator.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "events/event_manager.h"

namespace vicinix {
namespace {

using Key = VicinixDefaultsKey;

std::string key(Key k) {
  return std::string(VicinixConfigurator::keyString(k));
}

// A UID frame of namespace edd1ebeac04e5defa017, instance 0123456789ab.
const ServiceDataMap kUidFrame = {
    {"FEAA", {0x00, 0xEB, 0xED, 0xD1, 0xEB, 0xEA, 0xC0, 0x4E, 0x5D, 0xEF,
              0xA0, 0x17, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0x00, 0x00}}};
const PeripheralIdentifier kDevice{{0x1}};

}  // namespace

ExchangeDriver::ExchangeDriver(FakeSdk& env) : env_(env) {
  env_.defaults->setStringArray(key(Key::namespaces), {"edd1ebeac04e5defa017"});
  BeaconManager::shared().startScanning();
  env_.time->runUntilIdle();
}

void ExchangeDriver::run(Exchange exchange, const std::string& reply) {
  env_.http->setResponder([&reply, exchange](const HttpRequest& request) {
    bool versionQuery = request.body.find("requiredIosSdkVersion") != std::string::npos;
    bool answered = exchange != Exchange::sdkConfiguration || versionQuery;
    return HttpResponse{.error = {}, .status = 200, .body = answered ? reply : "{}"};
  });
  // Whatever an earlier reply stored, each exchange starts from the same state.
  env_.defaults->setInteger(key(Key::requiredSDKVersion), 0);
  env_.defaults->setInteger(key(Key::beaconExpiration), 1);
  env_.defaults->setInteger(key(Key::campaignExpiration), 1);
  env_.defaults->setInteger(key(Key::dailyNotificationLimit), 0);
  CampaignFactory& campaigns = CampaignFactory::shared();
  if (auto stored = campaigns.allCampaigns()) {
    for (const Campaign& campaign : *stored) campaigns.deleteCampaign(campaign.id);
  }
  env_.time->runUntilIdle();
  switch (exchange) {
    case Exchange::configuration:
      env_.defaults->setDate(key(Key::requiredSdkVersionUpdateDate), env_.time->now());
      env_.defaults->setInteger(key(Key::requiredSdkVersionExpiration), 0);
      VicinixConfigurator::configure([] {});
      break;
    case Exchange::sdkConfiguration:
      env_.defaults->remove(key(Key::requiredSdkVersionUpdateDate));
      VicinixConfigurator::configure([] {});
      break;
    case Exchange::pullNotifications:
      // Lost, then found again: a found beacon is what asks for campaigns.
      env_.time->advance(std::chrono::seconds(16));
      env_.bluetooth->advertise(kDevice, kUidFrame, -60);
      break;
    case Exchange::campaignRefresh:
      campaigns.parse(JsonValue::parse(R"({"id":"c1","isActive":true,"type":"PAGE"})"));
      env_.time->advance(std::chrono::seconds(2));  // due for a refresh
      CampaignManager::updateAllCampaigns([] {});
      break;
    case Exchange::eventUpload:
      EventFactory::shared().deleteAllEvents();
      EventFactory::shared().create(EventType::appStarted);
      EventManager::logAllEvents([] {});
      break;
  }
  // Long enough for staggered notifications, batches and pictures; short of
  // the scanner's 15 s lost timer.
  env_.time->advance(std::chrono::seconds(10));
}

}  // namespace vicinix
