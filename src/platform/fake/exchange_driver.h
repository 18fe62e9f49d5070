#pragma once

#include <string>

#include "platform/fake/fake_sdk.h"

namespace vicinix {

// Runs one of the SDK's backend exchanges through its real request and reply
// handler, with a scripted reply body, on the virtual time of a FakeSdk: how
// fuzz targets and tests put any reply in front of every handler.
class ExchangeDriver {
 public:
  enum class Exchange {
    configuration,      // the application configuration
    sdkConfiguration,   // the required SDK version
    pullNotifications,  // a beacon's campaigns, from a sighting
    campaignRefresh,    // the stored campaigns by id
    eventUpload,        // one stored event
  };

  // Turns the beacon scanner on and makes sightings of the test beacon ask
  // for its campaigns every time.
  explicit ExchangeDriver(FakeSdk& env);

  // Every request (pictures included) gets `reply` with status 200, except
  // the configuration asked alongside the required version, which gets "{}".
  void run(Exchange exchange, const std::string& reply);

 private:
  FakeSdk& env_;
};

}  // namespace vicinix
