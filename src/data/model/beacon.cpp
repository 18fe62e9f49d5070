#include "data/model/beacon.h"

#include <charconv>
#include <cmath>
#include <string>

#include "core/sdk.h"
#include "core/vicinix_configurator.h"

namespace vicinix {
namespace {

constexpr int64_t kDefaultExpirationSeconds = 3600;

// Seconds as the debug line has always shown them: shortest round-trip digits,
// at least one decimal ("3599.0"), exponent only for the very small or large.
std::string secondsText(double seconds) {
  char buffer[64];
  double magnitude = std::abs(seconds);
  bool plain = magnitude == 0 || (magnitude >= 1e-4 && magnitude <= 0x1p54);
  auto format = plain ? std::chars_format::fixed : std::chars_format::general;
  auto end = std::to_chars(buffer, buffer + sizeof buffer, seconds, format).ptr;
  std::string text(buffer, end);
  if (std::isfinite(seconds) && text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

}  // namespace

bool Beacon::isAllowedToUpdate() const {
  if (!updated) return true;
  Sdk& sdk = Sdk::current();
  int64_t expiration = VicinixConfigurator::beaconExpiration();
  if (expiration == 0) expiration = kDefaultExpirationSeconds;
  double elapsed = std::chrono::duration<double>(sdk.clock().now() - *updated).count();
  if (sdk.debugging()) sdk.debug("Last beacon update: " + secondsText(elapsed));
  return elapsed > static_cast<double>(expiration);
}

}  // namespace vicinix
