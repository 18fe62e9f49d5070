// Service data is whatever a nearby transmitter chose to send: every parser
// must give a value or nothing for any bytes, and every value must print.

#include <cstddef>
#include <cstdint>
#include <span>

#include "beacons/beacon_info.h"
#include "beacons/eddystone_telemetry.h"
#include "platform/fake/fake_sdk.h"

namespace {

void use(const std::optional<vicinix::BeaconInfo>& info) {
  if (!info) return;
  (void)info->beaconID().description();
  (void)info->beaconID().nameSpace();
  (void)info->beaconID().instance();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vicinix::FakeSdk* env = new vicinix::FakeSdk();
  env->log->clear();  // the parsers log, and a long run would keep every line

  using vicinix::BeaconInfo;
  std::span<const uint8_t> frame(data, size);
  vicinix::ServiceDataMap advertisement{{"FEAA", {frame.begin(), frame.end()}}};
  (void)BeaconInfo::frameTypeForFrame(advertisement);
  auto telemetry = BeaconInfo::telemetryDataForFrame(advertisement);
  use(BeaconInfo::beaconInfoForUIDFrameData(frame, telemetry, -60));
  use(BeaconInfo::beaconInfoForEIDFrameData(frame, telemetry, -60));
  if (auto url = BeaconInfo::parseURLFromFrame(frame)) (void)url->lastPathComponent();
  (void)vicinix::EddystoneTelemetry::decode(frame);
  return 0;
}
