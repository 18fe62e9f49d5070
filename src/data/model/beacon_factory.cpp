#include "data/model/beacon_factory.h"

#include <charconv>
#include <cmath>

#include "core/sdk.h"
#include "core/uuid.h"
#include "core/vicinix_configurator.h"
#include "data/model/beacon_table.h"
#include "data/model/realm_configurator.h"

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

BeaconFactory::BeaconFactory(Sdk& sdk)
    : sdk_(sdk), realm_(Database::open(RealmConfigurator::vicinixConfiguration())) {}

BeaconFactory& BeaconFactory::shared() {
  return Sdk::current().shared<BeaconFactory>();
}

std::optional<Beacon> BeaconFactory::findBeacon(const std::string& namespace_,
                                                const std::string& instance, bool create) {
  if (realm_) {
    try {
      if (auto found = BeaconTable(*realm_).first(namespace_, instance)) return found;
    } catch (const std::exception& error) {
      sdk_.debug(error.what());
    }
  }
  if (!create) return std::nullopt;

  Beacon beacon{.id = makeUuidString(),
                .namespace_ = namespace_,
                .instance = instance,
                .created = sdk_.clock().now(),
                .updated = std::nullopt};
  if (!realm_) return beacon;
  // A fresh random id cannot collide, so the table's upsert is a plain insert here.
  if (auto error = realm_->write([&] { BeaconTable(*realm_).addOrUpdate(beacon); })) {
    sdk_.debug(*error);
  }
  return beacon;
}

void BeaconFactory::save(const Beacon& beacon) {
  // Through the context rather than `this`: the queue may outlive this store.
  sdk_.mainQueue().async([beacon] {
    BeaconFactory& store = BeaconFactory::shared();
    if (!store.realm_) return;
    if (auto error = store.realm_->write([&] { BeaconTable(*store.realm_).addOrUpdate(beacon); })) {
      store.sdk_.debug(*error);
    }
  });
}

void BeaconFactory::setUpdate(const Beacon& beacon) {
  sdk_.mainQueue().async([id = beacon.id] {
    BeaconFactory& store = BeaconFactory::shared();
    if (!store.realm_) return;
    auto error = store.realm_->write([&] {
      BeaconTable table(*store.realm_);
      // A record that never made it into the database has nothing to stamp.
      auto stored = table.find(id);
      if (!stored) return;
      stored->updated = store.sdk_.clock().now();
      table.addOrUpdate(*stored);
    });
    if (error) store.sdk_.debug(*error);
  });
}

bool isAllowedToUpdate(const Beacon& beacon) {
  if (!beacon.updated) return true;
  Sdk& sdk = Sdk::current();
  int64_t expiration = VicinixConfigurator::beaconExpiration();
  if (expiration == 0) expiration = kDefaultExpirationSeconds;
  double elapsed = std::chrono::duration<double>(sdk.clock().now() - *beacon.updated).count();
  if (sdk.debugging()) sdk.debug("Last beacon update: " + secondsText(elapsed));
  return elapsed > static_cast<double>(expiration);
}

}  // namespace vicinix
