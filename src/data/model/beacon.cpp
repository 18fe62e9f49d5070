#include "data/model/beacon.h"

#include "base/date_format.h"
#include "base/sdk.h"
#include "core/vicinix_configurator.h"

namespace vicinix {
namespace {

constexpr int64_t kDefaultExpirationSeconds = 3600;

}  // namespace

bool Beacon::isAllowedToUpdate() const {
  if (!updated) return true;
  Sdk& sdk = Sdk::current();
  int64_t expiration = VicinixConfigurator::beaconExpiration();
  if (expiration == 0) expiration = kDefaultExpirationSeconds;
  double elapsed = std::chrono::duration<double>(sdk.clock().now() - *updated).count();
  if (sdk.debugging()) sdk.debug("Last beacon update: " + formatSeconds(elapsed));
  return elapsed > static_cast<double>(expiration);
}

std::string Beacon::description() const {
  return "Beacon {\n\tid = " + id + ";\n\tnamespace = " + namespace_ +
         ";\n\tinstance = " + instance + ";\n\tcreated = " + describeDate(created) +
         ";\n\tupdated = " + describeDate(updated) + ";\n}";
}

}  // namespace vicinix
