#include "data/model/beacon_factory.h"

#include "core/sdk.h"
#include "core/uuid.h"
#include "data/model/beacon_table.h"
#include "data/model/realm_configurator.h"

namespace vicinix {
namespace {}  // namespace

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

}  // namespace vicinix
